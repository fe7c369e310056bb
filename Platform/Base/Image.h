#pragma once

#include <memory>

#include "SharedString.h"

namespace qrb {

/// A picture that the host has under a name; the library names pictures and draws none.
struct Image {
  String name;
};

/// Absent where there is no picture.
using ImagePtr = std::shared_ptr<const Image>;

}  // namespace qrb
