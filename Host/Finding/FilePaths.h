#pragma once

#include <string>
#include <vector>

#include "Result.h"
#include "SharedString.h"

namespace host {

/// The path of a file relative to the root of its working copy, "." for the root itself. `file` is as the user names
/// it, relative to `folder` (empty: the current one). The error says where it lies when that is outside.
qrb::Result<std::string> pathInWorkingCopy(const std::string& file, const std::string& folder, const std::string& root);
/// The paths of several.
qrb::Result<std::vector<qrb::String>> pathsInWorkingCopy(const std::vector<std::string>& files,
                                                         const std::string& folder, const std::string& root);

/// The path that a source gets at a destination of which it is to become part if that is a folder: both as the user
/// names them, the last component of the source added where the destination is a folder or ends in "/".
std::string destinationOf(const std::string& source, const std::string& destination, bool destinationIsFolder);

}  // namespace host
