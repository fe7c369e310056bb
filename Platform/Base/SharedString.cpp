#include "SharedString.h"

#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <stdexcept>

namespace qrb {

String::Storage* String::make(std::string_view text) {
  if (text.size() > std::numeric_limits<std::uint32_t>::max()) throw std::length_error("string over 4 GiB");
  void* memory = ::operator new(sizeof(Storage) + text.size());
  auto* storage = new (memory) Storage{1, static_cast<std::uint32_t>(text.size())};
  if (!text.empty()) std::memcpy(storage->bytes(), text.data(), text.size());
  return storage;
}

void String::destroy(Storage* storage) noexcept {
  storage->~Storage();
  ::operator delete(storage);
}

}  // namespace qrb
