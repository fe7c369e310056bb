#pragma once

#include <cstddef>

namespace qrb {

/// What a document of a stranger may ask of its reader. A reader refuses what goes beyond; nothing legitimate comes
/// near.
struct DocumentLimits {
  std::size_t bytes = std::size_t{64} << 20;
  std::size_t depth = 32;
  std::size_t values = std::size_t{4} << 20;
};

}  // namespace qrb
