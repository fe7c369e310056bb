#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "QRBSourceControlAddressBook.h"

namespace qrb {

/// What could not be read, and where.
struct VCardProblem {
  std::size_t line = 0;  ///< counted from 1
  std::string text;
};

struct VCardFile {
  /// In the order of the file. The unique id is absent where the card has none.
  std::vector<QRBSourceControlPerson> people;
  std::vector<VCardProblem> problems;
};

/// Reads the cards of one file, versions 3.0 and 4.0. A card that is incomplete or of another version is left out and
/// told of; cards of groups and other things that are nobody's are left out; the rest is read. Any bytes may be given.
VCardFile parseVCards(std::string_view bytes);

}  // namespace qrb
