#pragma once

#include <memory>

#include "Codec.h"

namespace qrb {

/// A dictionary that has come from a peer, to be let go without memory: one that holds anything takes some in its own
/// destructor, and ends the program where there is none.
class HeldDictionary {
 public:
  HeldDictionary();
  explicit HeldDictionary(Dictionary value);
  HeldDictionary(HeldDictionary&& other) noexcept;
  ~HeldDictionary();
  HeldDictionary(const HeldDictionary&) = delete;
  HeldDictionary& operator=(const HeldDictionary&) = delete;

  Dictionary& operator*() noexcept { return *_value; }
  Dictionary* operator->() noexcept { return _value.get(); }

 private:
  std::unique_ptr<Dictionary> _value;
};

template <>
struct Codec<HeldDictionary> {
  static HeldDictionary read(ArchiveNode node);
};

}  // namespace qrb
