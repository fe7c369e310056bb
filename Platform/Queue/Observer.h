#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "Export.h"

namespace qrb {

namespace detail {

/// One subscription, whatever its arguments: whether it still counts and who is inside its callback.
class QRB_EXPORT ObserverSlot {
 public:
  virtual ~ObserverSlot() = default;

  /// One call of the callback that is under way. It lies with the caller, so that telling observers takes no memory.
  struct Visit {
    std::thread::id thread;
    Visit* next = nullptr;
  };

  /// False when the subscription is over; otherwise to be paired with leave().
  bool enter(Visit& visit);
  void leave(const Visit& visit);
  /// Ends the subscription. With `wait`, until no other thread is inside the callback.
  void end(bool wait);

 protected:
  /// Drops the callback and what it holds; called once, when nobody is or will be inside.
  virtual void release() = 0;

 private:
  std::mutex _mutex;
  std::condition_variable _left;
  Visit* _inside = nullptr;
  bool _ended = false;
  bool _released = false;

  bool takeRelease();
};

class QRB_EXPORT ObserverListBase {
 public:
  virtual ~ObserverListBase() = default;
  void add(std::shared_ptr<ObserverSlot> slot);
  /// Where there is no memory to make the shorter list, it stays: an ended subscription is passed over.
  void remove(const ObserverSlot* slot);
  using Slots = std::vector<std::shared_ptr<ObserverSlot>>;
  /// The subscriptions of this moment, in the order they were made; null when there are none.
  std::shared_ptr<const Slots> slots() const;

 private:
  mutable std::mutex _mutex;
  std::shared_ptr<const Slots> _slots;
};

}  // namespace detail

/// A subscription. Destroying it unsubscribes: when the destructor has returned, the callback is not running on any
/// other thread and will not be called again. Inside its own callback it may be destroyed too; that call then goes on
/// to its end. Hold no lock that the callback takes while destroying it; where that cannot be promised, use detach().
class QRB_EXPORT ObserverToken {
 public:
  ObserverToken() = default;
  ObserverToken(std::weak_ptr<detail::ObserverListBase> list, std::shared_ptr<detail::ObserverSlot> slot);
  ObserverToken(ObserverToken&&) noexcept = default;
  ObserverToken& operator=(ObserverToken&& other) noexcept;
  ObserverToken(const ObserverToken&) = delete;
  ObserverToken& operator=(const ObserverToken&) = delete;
  ~ObserverToken() { unsubscribe(true); }

  /// Unsubscribes now, with the same promise as the destructor.
  void reset() { unsubscribe(true); }
  /// Unsubscribes without waiting: a call that has begun on another thread may still be running.
  void detach() { unsubscribe(false); }
  explicit operator bool() const { return _slot != nullptr; }

 private:
  void unsubscribe(bool wait);

  std::weak_ptr<detail::ObserverListBase> _list;
  std::shared_ptr<detail::ObserverSlot> _slot;
};

/// Callbacks that want to hear of something. Any thread may subscribe, unsubscribe and notify at any time; tokens may
/// outlive the list.
template <typename... Arguments>
class ObserverList {
 public:
  using Callback = std::function<void(Arguments...)>;

  /// The callback is called on the thread that notifies, for as long as the token lives.
  [[nodiscard]] ObserverToken observe(Callback callback) {
    auto slot = std::make_shared<Slot>(std::move(callback));
    _list->add(slot);
    return ObserverToken(_list, std::move(slot));
  }

  /// Calls everyone who was subscribed when the call began and still is when his turn comes, in order of subscription,
  /// on this thread. No lock is held meanwhile.
  void notify(Arguments... arguments) const {
    auto slots = _list->slots();
    if (!slots) {
      return;
    }
    for (const auto& slot : *slots) {
      detail::ObserverSlot::Visit visit;
      if (slot->enter(visit)) {
        Leaving leaving{*slot, visit};
        static_cast<const Slot&>(*slot).callback(arguments...);
      }
    }
  }

 private:
  struct Slot final : detail::ObserverSlot {
    explicit Slot(Callback function) : callback(std::move(function)) {}
    void release() override { callback = nullptr; }
    Callback callback;
  };
  struct Leaving {
    detail::ObserverSlot& slot;
    const detail::ObserverSlot::Visit& visit;
    ~Leaving() { slot.leave(visit); }
  };

  std::shared_ptr<detail::ObserverListBase> _list = std::make_shared<detail::ObserverListBase>();
};

}  // namespace qrb
