#pragma once

#include <string>
#include <string_view>

#include "Date.h"
#include "JSONArray.h"

namespace host {

/// A path as one word of plain output. Where it holds control characters, quotes, backslashes or bytes that are not
/// UTF-8 it is quoted as in C, so that it cannot disturb a terminal and no two paths look alike.
std::string displayPath(std::string_view path);

/// Text of several lines with every control character but line ends and tabs written out as in C.
std::string displayText(std::string_view text);

/// Sets `key` to the path, or to the name of a branch, tag or remote; where that is not UTF-8, adds the bytes in base64
/// under `key` + "Bytes".
void setPath(JSONValue& entry, const std::string& key, std::string_view path);

/// ISO 8601 in UTC, to the second, or finer where the date is.
std::string isoDate(qrb::Date date);
/// For people: the local time.
std::string localDate(qrb::Date date);

}  // namespace host
