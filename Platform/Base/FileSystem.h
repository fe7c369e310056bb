#pragma once

#include <string>
#include <string_view>

#include "Export.h"

namespace qrb {

/// The user's home directory, without a trailing slash; empty when the system knows none.
QRB_EXPORT std::string homeDirectory();

/// Makes a directory that only the user can enter, and those that lead to it. False, with errno set, when it cannot be
/// made or is there already.
QRB_EXPORT bool makePrivateDirectory(const std::string& path);

/// Writes a new file that only the user can read and write, whatever the umask. False, with errno set, when there is
/// one already or not all could be written; nothing is left behind then.
QRB_EXPORT bool writePrivateFile(const std::string& path, std::string_view bytes);

}  // namespace qrb
