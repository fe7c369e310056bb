#include "QRBSourceControlDictionaryReadingPrivate.h"

namespace qrb::detail {

String stringForKey(const Dictionary& dictionary, const char* key) {
  const Dictionary* entry = dictionary.find(key);
  return entry != nullptr && entry->isString() ? String(entry->string()) : String();
}

std::uint64_t unsignedForKey(const Dictionary& dictionary, const char* key) {
  const Dictionary* entry = dictionary.find(key);
  return entry != nullptr && entry->isInteger() ? entry->unsignedInteger() : 0;
}

}  // namespace qrb::detail
