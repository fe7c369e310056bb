#include "Text.h"

#include <nettle/base64.h>

#include <cstdint>
#include <cstdio>
#include <ctime>

#include "UTF8.h"

namespace host {

namespace {

// The only lead byte of well-formed UTF-8 whose characters may be control characters (U+0080 to U+009F) is 0xC2.
bool isSecondControl(std::string_view text, std::size_t index) {
  return static_cast<unsigned char>(text[index]) == 0xC2 && index + 1 < text.size() &&
         static_cast<unsigned char>(text[index + 1]) < 0xA0;
}

bool isControl(char character) {
  auto byte = static_cast<unsigned char>(character);
  return byte < 0x20 || byte == 0x7F;
}

void appendOctal(std::string& result, char character) {
  auto byte = static_cast<unsigned char>(character);
  result += '\\';
  result += static_cast<char>('0' + (byte >> 6));
  result += static_cast<char>('0' + ((byte >> 3) & 7));
  result += static_cast<char>('0' + (byte & 7));
}

void appendEscaped(std::string& result, char character) {
  static constexpr std::string_view kLetters = "abtnvfr";  // the escapes of the bytes 7 to 13
  if (character >= '\a' && character <= '\r') {
    result += '\\';
    result += kLetters[static_cast<std::size_t>(character - '\a')];
  } else if (character == '"' || character == '\\') {
    result += '\\';
    result += character;
  } else {
    appendOctal(result, character);
  }
}

bool needsQuotes(std::string_view path) {
  if (!qrb::isValidUTF8(path)) return true;
  for (std::size_t index = 0; index < path.size(); ++index) {
    if (isControl(path[index]) || path[index] == '"' || path[index] == '\\' || isSecondControl(path, index))
      return true;
  }
  return false;
}

std::string base64(std::string_view bytes) {
  std::string encoded(BASE64_ENCODE_RAW_LENGTH(bytes.size()), '\0');
  base64_encode_raw(encoded.data(), bytes.size(), reinterpret_cast<const std::uint8_t*>(bytes.data()));
  return encoded;
}

std::string formatted(const std::tm& time, const char* format) {
  char text[64];
  return {text, std::strftime(text, sizeof text, format, &time)};
}

}  // namespace

std::string displayPath(std::string_view path) {
  if (!needsQuotes(path)) return std::string(path);
  bool isText = qrb::isValidUTF8(path);
  std::string result = "\"";
  for (std::size_t index = 0; index < path.size(); ++index) {
    char character = path[index];
    bool isForeign = (character & 0x80) != 0;
    if (isForeign && isText && !isSecondControl(path, index)) {
      result += character;
    } else if (isForeign) {
      appendOctal(result, character);
      if (isText) appendOctal(result, path[++index]);
    } else if (isControl(character) || character == '"' || character == '\\') {
      appendEscaped(result, character);
    } else {
      result += character;
    }
  }
  return result += '"';
}

std::string displayText(std::string_view text) {
  std::string valid = qrb::replacingInvalidUTF8(text);
  std::string result;
  result.reserve(valid.size());
  for (std::size_t index = 0; index < valid.size(); ++index) {
    char character = valid[index];
    if (isSecondControl(valid, index)) {
      appendOctal(result, character);
      appendOctal(result, valid[++index]);
    } else if (isControl(character) && character != '\n' && character != '\t') {
      appendEscaped(result, character);
    } else {
      result += character;
    }
  }
  return result;
}

void setPath(JSONValue& entry, const std::string& key, std::string_view path) {
  if (qrb::isValidUTF8(path)) {
    entry[key] = path;
    return;
  }
  entry[key] = qrb::replacingInvalidUTF8(path);
  entry[key + "Bytes"] = base64(path);
}

std::string isoDate(qrb::Date date) {
  auto whole = std::chrono::floor<std::chrono::seconds>(date);
  std::time_t seconds = std::chrono::system_clock::to_time_t(whole);
  std::tm time{};
  ::gmtime_r(&seconds, &time);
  std::string text = formatted(time, "%Y-%m-%dT%H:%M:%S");
  if (auto fraction = std::chrono::duration_cast<std::chrono::microseconds>(date - whole).count(); fraction != 0) {
    char digits[16];
    std::snprintf(digits, sizeof digits, ".%06d", static_cast<int>(fraction));
    text += digits;
  }
  return text + 'Z';
}

std::string localDate(qrb::Date date) {
  std::time_t seconds = std::chrono::system_clock::to_time_t(std::chrono::floor<std::chrono::seconds>(date));
  std::tm time{};
  ::localtime_r(&seconds, &time);
  return formatted(time, "%Y-%m-%d %H:%M:%S %z");
}

}  // namespace host
