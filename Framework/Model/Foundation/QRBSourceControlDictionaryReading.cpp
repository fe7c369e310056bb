#include "QRBSourceControlDictionaryReadingPrivate.h"

#include <nlohmann/json.hpp>

namespace qrb::detail {

namespace {

const Dictionary* entryForKey(const Dictionary& dictionary, const char* key) {
  if (!dictionary.is_object()) return nullptr;
  auto entry = dictionary.find(key);
  return entry == dictionary.end() ? nullptr : &*entry;
}

}  // namespace

String stringForKey(const Dictionary& dictionary, const char* key) {
  const Dictionary* entry = entryForKey(dictionary, key);
  return entry != nullptr && entry->is_string() ? String(entry->get_ref<const std::string&>()) : String();
}

std::uint64_t unsignedForKey(const Dictionary& dictionary, const char* key) {
  const Dictionary* entry = entryForKey(dictionary, key);
  return entry != nullptr && entry->is_number_integer() ? entry->get<std::uint64_t>() : 0;
}

}  // namespace qrb::detail
