#include "Observer.h"

#include "Scarcity.h"

namespace qrb {
namespace detail {

bool ObserverSlot::enter(Visit& visit) {
  std::lock_guard lock(_mutex);
  if (_ended) {
    return false;
  }
  visit = {std::this_thread::get_id(), std::exchange(_inside, &visit)};
  return true;
}

void ObserverSlot::leave(const Visit& visit) {
  bool releaseNow;
  {
    std::lock_guard lock(_mutex);
    Visit** place = &_inside;
    while (*place != &visit) place = &(*place)->next;
    *place = visit.next;
    releaseNow = takeRelease();
    _left.notify_all();
  }
  if (releaseNow) {
    release();
  }
}

void ObserverSlot::end(bool wait) {
  bool releaseNow;
  {
    std::unique_lock lock(_mutex);
    _ended = true;
    if (wait) {
      _left.wait(lock, [this, self = std::this_thread::get_id()] {
        const Visit* visit = _inside;
        while (visit != nullptr && visit->thread == self) visit = visit->next;
        return visit == nullptr;
      });
    }
    releaseNow = takeRelease();
  }
  if (releaseNow) {
    release();
  }
}

bool ObserverSlot::takeRelease() {
  return _ended && _inside == nullptr && !std::exchange(_released, true);
}

void ObserverListBase::add(std::shared_ptr<ObserverSlot> slot) {
  std::lock_guard lock(_mutex);
  auto changed = _slots ? std::make_shared<Slots>(*_slots) : std::make_shared<Slots>();
  changed->push_back(std::move(slot));
  _slots = std::move(changed);
}

void ObserverListBase::remove(const ObserverSlot* slot) {
  std::shared_ptr<const Slots> previous;
  std::lock_guard lock(_mutex);
  if (!_slots) {
    return;
  }
  unlessScarce([&] {
    auto changed = std::make_shared<Slots>();
    for (const auto& each : *_slots) {
      if (each.get() != slot) {
        changed->push_back(each);
      }
    }
    previous = std::move(_slots);
    _slots = changed->empty() ? nullptr : std::move(changed);
  });
}

std::shared_ptr<const ObserverListBase::Slots> ObserverListBase::slots() const {
  std::lock_guard lock(_mutex);
  return _slots;
}

}  // namespace detail

ObserverToken::ObserverToken(std::weak_ptr<detail::ObserverListBase> list, std::shared_ptr<detail::ObserverSlot> slot)
    : _list(std::move(list)), _slot(std::move(slot)) {}

ObserverToken& ObserverToken::operator=(ObserverToken&& other) noexcept {
  if (this != &other) {
    unsubscribe(true);
    _list = std::move(other._list);
    _slot = std::move(other._slot);
  }
  return *this;
}

void ObserverToken::unsubscribe(bool wait) {
  // First out of the token: the callback's own captures may hold it and be released below.
  auto slot = std::exchange(_slot, nullptr);
  if (!slot) {
    return;
  }
  if (auto list = std::exchange(_list, {}).lock()) {
    list->remove(slot.get());
  }
  slot->end(wait);
}

}  // namespace qrb
