#pragma once

#include <stdexcept>
#include <string>
#include <utility>

namespace qrb {

/// Bytes that are not a well-formed archive, an object of a class that its place does not admit, or an object that must
/// not be archived. Thrown inside the archive code and caught where a message is taken in or sent; it crosses no public
/// interface. On its way out each container says where it was met.
class ArchiveError : public std::runtime_error {
 public:
  /// `value` is the value that was met, as its message has parsed it; null where there is none.
  explicit ArchiveError(const std::string& problem, const void* value = nullptr)
      : std::runtime_error(problem), _value(value) {}

  const void* value() const noexcept { return _value; }
  /// The container's word for the place of what it was reading: `element 3`, `key "name"`.
  void within(const std::string& place) { _place = _place.empty() ? place : place + ", " + _place; }
  /// The places from the outermost to the innermost, and the problem.
  std::string description() const { return _place.empty() ? what() : _place + ": " + what(); }

 private:
  std::string _place;
  const void* _value;
};

/// What `read` returns; an ArchiveError that it throws learns from `place()` where it was met.
template <class Read, class Place>
decltype(auto) readAt(Place place, Read read) {
  try {
    return read();
  } catch (ArchiveError& problem) {
    problem.within(place());
    throw;
  }
}

}  // namespace qrb
