#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "TextBounds.h"

namespace qrb {

/// Why bytes could not be read as the tool's output, and where in the stream.
struct ParseError {
  std::string what;
  std::uint64_t offset = 0;
};

/// A part of the record being read, as a place in it: it stays right when the record moves in memory.
struct TokenSpan {
  std::size_t begin = 0;
  std::size_t length = 0;
};

/// Cuts a stream that arrives in arbitrary pieces into tokens ended by one delimiter, and keeps the record that the
/// tokens belong to whole in memory. A piece is read where the caller has it; only a record that a piece cuts is
/// copied. Reading goes on where it stopped, so a record costs time in proportion to its size however small its pieces
/// are. A token beyond the bounds is cut to its beginning, which ends in a mark: see TextBounds.h.
class TokenBuffer {
 public:
  /// A record above this is refused: no honest output has one, and memory is not the repository's to fill.
  static constexpr std::size_t maximumRecordSize = std::size_t{1} << 30;

  explicit TokenBuffer(char delimiter, TextBounds bounds = noTextBounds) : _delimiter(delimiter), _allowance(bounds) {}

  /// To be called before anything is read.
  void setBounds(TextBounds bounds) { _allowance = TextAllowance(bounds); }
  /// For the tokens after the last one.
  void setLongestToken(std::size_t length) { _allowance.setEach(length); }

  /// Adds a piece. It must stay as it is until suspend(); spans of earlier records are void.
  void append(std::string_view bytes) {
    if (_dropped > 0) bytes.remove_prefix(drop(bytes));
    if (_kept.empty()) {
      _data = bytes;
    } else {
      _kept.append(bytes);
      _data = _kept;
    }
  }

  /// The next token without its delimiter; false when its end has not arrived. Views of earlier ones are void.
  bool nextToken(TokenSpan& token) {
    const void* end =
        _scan < _data.size() ? std::memchr(_data.data() + _scan, _delimiter, _data.size() - _scan) : nullptr;
    if (end == nullptr) {
      _scan = _data.size();
      return false;
    }
    auto position = static_cast<std::size_t>(static_cast<const char*>(end) - _data.data());
    if (_dropped > 0 || position - _token > _allowance.next()) position = shorten(position);
    _allowance.take(position - _token);
    token = {_token - _record, position - _token};
    _token = _scan = position + 1;
    return true;
  }

  /// The byte after the last token, if it has arrived.
  std::optional<char> peek() const {
    if (_token >= _data.size()) return std::nullopt;
    return _data[_token];
  }

  /// Passes over that byte.
  void skipByte() { _scan = ++_token; }

  std::string_view at(TokenSpan span) const { return {_data.data() + _record + span.begin, span.length}; }

  /// The tokens so far are a record; what follows is another.
  void endRecord() { _record = _token; }

  /// Lets go of the caller's piece, keeping what of the record has arrived. False: the record is too large.
  bool suspend() {
    keep();
    if (std::size_t bound = _allowance.next(); _kept.size() - _token > bound) {
      _dropped += _kept.size() - _token - bound;
      _kept.resize(_token + bound);
      _scan = _kept.size();
      _data = _kept;
    }
    return _kept.size() <= maximumRecordSize;
  }

  /// Whether bytes have arrived that belong to no ended record.
  bool hasRest() const { return _record < _data.size(); }

  /// Whether the last token is unfinished.
  bool hasPartialToken() const { return _token < _data.size(); }

  /// What has arrived after the last token. It stays right until the caller's piece goes, or the next append().
  std::string_view rest() const { return _data.substr(_token); }

  /// Where in the stream the record begins.
  std::uint64_t recordOffset() const { return _base + _record; }
  /// Where in the stream the token after the last one begins.
  std::uint64_t tokenOffset() const { return _base + _token; }

 private:
  void keep() {
    _base += _record;
    if (_kept.empty()) {
      _kept.assign(_data.substr(_record));
    } else {
      _kept.erase(0, _record);
    }
    _token -= _record;
    _scan -= _record;
    _record = 0;
    _data = _kept;
  }

  /// How much of a piece still belongs to the part of a token that is dropped.
  std::size_t drop(std::string_view bytes) {
    std::size_t count = std::min(bytes.find(_delimiter), bytes.size());
    _dropped += count;
    return count;
  }

  /// Puts the mark in place of what is too much of the token that ends at the position. Returns where it ends then.
  std::size_t shorten(std::size_t position) {
    position -= _record;
    keep();
    std::string_view token = std::string_view(_kept).substr(_token, position - _token);
    std::size_t length = shortenedLength(token, _allowance.next());
    std::uint64_t missing = _dropped + (token.size() - length);
    std::string mark = shorteningMark(missing);
    _kept.replace(_token + length, token.size() - length, mark);
    _base += missing - mark.size();
    _dropped = 0;
    _data = _kept;
    return _token + length + mark.size();
  }

  char _delimiter;
  TextAllowance _allowance;
  /// Bytes of the last token that have arrived and are not kept.
  std::uint64_t _dropped = 0;
  std::string _kept;
  std::string_view _data;
  std::size_t _record = 0;
  std::size_t _token = 0;
  std::size_t _scan = 0;
  std::uint64_t _base = 0;
};

}  // namespace qrb
