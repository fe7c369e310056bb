#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

namespace qrb::hostile {

/// Numbers that follow from a seed alone, on every machine and with every compiler. Not for several threads at once.
class Random {
 public:
  explicit Random(std::uint64_t seed) : _state(seed) {}
  /// That of one case of a campaign.
  Random(std::uint64_t seed, std::uint64_t number) : _state(seed) { _state = next() ^ (number * 0x9e3779b97f4a7c15U); }

  std::uint64_t next() {
    std::uint64_t value = _state += 0x9e3779b97f4a7c15U;
    value = (value ^ (value >> 30)) * 0xbf58476d1ce4e5b9U;
    value = (value ^ (value >> 27)) * 0x94d049bb133111ebU;
    return value ^ (value >> 31);
  }
  /// Below `count`, which is not 0.
  std::size_t below(std::size_t count) { return static_cast<std::size_t>(next() % count); }
  bool oneIn(std::size_t count) { return below(count) == 0; }
  template <class Container>
  const auto& oneOf(const Container& container) {
    return container[below(container.size())];
  }

 private:
  std::uint64_t _state;
};

}  // namespace qrb::hostile
