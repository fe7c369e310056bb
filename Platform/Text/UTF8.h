#pragma once

#include <string>
#include <string_view>

#include "Export.h"

namespace qrb {

/// Whether the bytes are well-formed UTF-8 (no surrogates, no overlong forms).
QRB_EXPORT bool isValidUTF8(std::string_view bytes);

/// The bytes with each ill-formed one replaced by U+FFFD; unchanged where they are UTF-8.
QRB_EXPORT std::string replacingInvalidUTF8(std::string_view bytes);

}  // namespace qrb
