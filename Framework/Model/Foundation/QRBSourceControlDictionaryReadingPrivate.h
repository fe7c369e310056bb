#pragma once

#include <cstdint>

#include "Dictionary.h"
#include "SharedString.h"

// Reading stored dictionaries, which may be anything: an entry that is missing or of another type is absent.
namespace qrb::detail {

/// Absent unless the entry is a text; an empty text is not absent.
String stringForKey(const Dictionary& dictionary, const char* key);
/// 0 when absent.
std::uint64_t unsignedForKey(const Dictionary& dictionary, const char* key);

}  // namespace qrb::detail
