#pragma once

#include <stdexcept>

namespace qrb {

/// Bytes that are not a well-formed archive, an object of a class that its place does not admit, or an object that must
/// not be archived. Thrown inside the archive code and caught where a message is taken in or sent; it crosses no public
/// interface.
class ArchiveError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace qrb
