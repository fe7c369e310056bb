#pragma once

#include <string>

#include "Export.h"

namespace qrb {

/// A fresh random UUID in its canonical form, upper-case with hyphens.
QRB_EXPORT std::string makeUUIDString();

}  // namespace qrb
