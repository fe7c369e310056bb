#include "MessageScanner.h"

namespace qrb {

namespace {

struct Header {
  std::size_t size = 1;        // bytes of the header itself
  std::uint64_t payload = 0;   // bytes that follow it
  std::uint64_t children = 0;  // values that follow it
  bool known = true;
};

std::uint64_t bigEndian(std::string_view bytes) {
  std::uint64_t value = 0;
  for (char byte : bytes) value = value << 8 | static_cast<unsigned char>(byte);
  return value;
}

// The length field's width for the families whose lead bytes stand in a row for 8, 16 and 32 bits.
std::size_t headerSize(unsigned char lead) {
  if (lead >= 0xc4 && lead <= 0xc6) return 1 + (std::size_t{1} << (lead - 0xc4));  // bin
  if (lead >= 0xc7 && lead <= 0xc9) return 1 + (std::size_t{1} << (lead - 0xc7));  // ext
  if (lead >= 0xd9 && lead <= 0xdb) return 1 + (std::size_t{1} << (lead - 0xd9));  // str
  if (lead >= 0xdc && lead <= 0xdf) return (lead & 1) == 0 ? 3 : 5;                // array, map
  return 1;
}

// Needs `headerSize` bytes.
Header decodeHeader(std::string_view bytes) {
  auto lead = static_cast<unsigned char>(bytes[0]);
  Header header;
  header.size = headerSize(lead);
  std::uint64_t number = bigEndian(bytes.substr(1, header.size - 1));
  if (lead <= 0x7f || lead >= 0xe0 || lead == 0xc0 || lead == 0xc2 || lead == 0xc3) return header;
  if (lead <= 0x8f) {
    header.children = std::uint64_t{2} * (lead & 0x0f);
  } else if (lead <= 0x9f) {
    header.children = lead & 0x0f;
  } else if (lead <= 0xbf) {
    header.payload = lead & 0x1f;
  } else if (lead == 0xc1) {
    header.known = false;
  } else if (lead <= 0xc6 || (lead >= 0xd9 && lead <= 0xdb)) {
    header.payload = number;
  } else if (lead <= 0xc9) {
    header.payload = number + 1;
  } else if (lead == 0xca || lead == 0xcb) {
    header.payload = lead == 0xca ? 4 : 8;
  } else if (lead <= 0xd3) {
    header.payload = std::uint64_t{1} << ((lead - 0xcc) & 3);
  } else if (lead <= 0xd8) {
    header.payload = 1 + (std::uint64_t{1} << (lead - 0xd4));
  } else {
    header.children = number * (lead >= 0xde ? 2 : 1);
  }
  return header;
}

}  // namespace

std::size_t offsetOfValue(std::string_view bytes, std::size_t count) {
  std::size_t offset = 0;
  for (; count > 0 && offset < bytes.size(); --count) {
    Header header = decodeHeader(bytes.substr(offset));
    offset += header.size + static_cast<std::size_t>(header.payload);
  }
  return offset;
}

MessageScanner::Outcome MessageScanner::refuse(std::string_view reason) {
  _reason = reason;
  return Outcome::refused;
}

// Whether the outermost value has ended.
bool MessageScanner::closeFinished() {
  while (!_open.empty() && _open.back() == 0) {
    _open.pop_back();
    if (!_open.empty()) --_open.back();
  }
  return _open.empty();
}

MessageScanner::Outcome MessageScanner::scan(std::string_view buffer) {
  if (!_reason.empty()) return Outcome::refused;
  for (;;) {
    if (_started && closeFinished()) return _position <= buffer.size() ? Outcome::complete : Outcome::incomplete;
    if (_position >= buffer.size()) return Outcome::incomplete;
    std::string_view rest = buffer.substr(_position);
    if (rest.size() < headerSize(static_cast<unsigned char>(rest[0]))) return Outcome::incomplete;
    Header header = decodeHeader(rest);
    if (!header.known) return refuse("a byte that begins no value");
    if (header.payload > _limits.bytes || _position + header.size + header.payload > _limits.bytes) {
      return refuse("message too long");
    }
    // Each value takes at least one byte, so a count beyond the byte limit cannot be honest either.
    _values += 1;
    if (header.children > _limits.values || _values + header.children > _limits.values) {
      return refuse("too many values in one message");
    }
    if (header.children > 0) _announced = _values + static_cast<std::size_t>(header.children);
    if (header.children > 0 && _open.size() >= _limits.depth) return refuse("values nested too deep");
    _position += header.size + static_cast<std::size_t>(header.payload);
    _started = true;
    if (header.children > 0) {
      _open.push_back(header.children);
    } else if (!_open.empty()) {
      --_open.back();
    }
  }
}

std::size_t MessageScanner::missing(std::size_t buffered) const noexcept {
  return _position > buffered ? _position - buffered : 1;
}

void MessageScanner::reset() {
  _position = 0;
  _values = 0;
  _announced = 0;
  _open.clear();
  _started = false;
  _reason = {};
}

}  // namespace qrb
