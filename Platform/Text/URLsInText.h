#pragma once

#include <string>
#include <string_view>

#include "Export.h"

namespace qrb {

/// The text as it may be shown or logged: each URL in it is as `URL::withoutPassword` has it. A URL goes as far as the
/// next white space, so that no character that a password may have ends it too early.
QRB_EXPORT std::string withoutPasswordsOfURLs(std::string_view text);

}  // namespace qrb
