#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace qrb {

/// What a peer may send at most in one message. A peer beyond any of them is refused before memory is taken for it.
struct MessageLimits {
  std::size_t bytes = std::size_t{256} << 20;
  std::size_t values = std::size_t{16} << 20;
  std::size_t depth = 24;
};

/// Where the value begins that comes after `count` others in a whole and well-formed MessagePack value, in the order in
/// which they stand there: keys count, and a collection counts before what it holds.
std::size_t offsetOfValue(std::string_view bytes, std::size_t count);

/// Finds where a MessagePack value ends in a stream that arrives in pieces, without building anything.
///
/// Declared lengths and counts are checked against the limits as soon as their header arrives. Feed it the bytes from
/// the value's first one on; it goes on where it stopped.
class MessageScanner {
 public:
  enum class Outcome { incomplete, complete, refused };

  explicit MessageScanner(MessageLimits limits = {}) : _limits(limits) {}

  /// Looks at `buffer`, which begins at the value's first byte and holds at least what the last call saw. When
  /// complete, `length()` is the value's length in bytes; when refused, `reason()` says why, and stays so until reset.
  Outcome scan(std::string_view buffer);
  std::size_t length() const noexcept { return _position; }
  std::string_view reason() const noexcept { return _reason; }
  /// How many values it holds as far as is known, those that have only been announced included.
  std::size_t values() const noexcept { return _announced > _values ? _announced : _values; }
  /// The least number of further bytes that the value needs, as far as is known: a hint for the next read.
  std::size_t missing(std::size_t buffered) const noexcept;
  void reset();

 private:
  Outcome refuse(std::string_view reason);
  bool closeFinished();

  MessageLimits _limits;
  std::size_t _position = 0;
  std::size_t _values = 0;
  std::size_t _announced = 0;
  /// Values still to come at each open level.
  std::vector<std::uint64_t> _open;
  bool _started = false;
  std::string_view _reason;
};

}  // namespace qrb
