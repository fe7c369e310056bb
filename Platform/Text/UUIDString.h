#pragma once

#include <string>

namespace qrb {

/// A fresh random UUID in its canonical form, upper-case with hyphens.
std::string makeUUIDString();

}  // namespace qrb
