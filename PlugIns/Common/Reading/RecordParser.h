#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "TokenBuffer.h"

namespace qrb {

/// Reads output that comes as records, as it arrives; what a record is, next() says. Any bytes are safe; those that are
/// not git's end the reading with an error. Texts beyond listedTextBounds come shortened. Not for use by two
/// threads at once.
template <class Record>
class RecordParser {
 public:
  /// Reads one piece of output, cut anywhere, and calls `sink(const Record&)` for each record that is now whole. False
  /// when the output is malformed: see error().
  template <class Sink>
  bool feed(std::string_view bytes, Sink&& sink) {
    if (_error) return false;
    _buffer.append(bytes);
    while (next()) sink(static_cast<const Record&>(_record));
    if (_error) return false;
    return _buffer.suspend() || fail("record too long");
  }

  const std::optional<ParseError>& error() const { return _error; }

 protected:
  /// `delimiter` is the byte that ends tokens.
  explicit RecordParser(char delimiter) : _buffer(delimiter, listedTextBounds) {}
  ~RecordParser() = default;
  RecordParser(const RecordParser&) = default;
  RecordParser& operator=(const RecordParser&) = default;

  /// Reads on until a record is whole, which it leaves in _record. False when that has not arrived, or after fail().
  virtual bool next() = 0;
  bool fail(const char* what) { return fail(what, _buffer.recordOffset()); }
  bool fail(const char* what, std::uint64_t offset) {
    _error = ParseError{what, offset};
    return false;
  }

  TokenBuffer _buffer;
  Record _record;
  std::optional<ParseError> _error;
};

}  // namespace qrb
