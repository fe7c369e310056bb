#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Export.h"

namespace qrb {

// Operations on the text of slash-separated paths. None looks at the disk; bytes need not be UTF-8.

/// An absolute path without ".", "..", doubled and trailing slashes; ".." does not climb above the root. A relative
/// path is cleaned likewise, keeps the ".." that lead above its start, and is "." where nothing is left of it.
QRB_EXPORT std::string standardizedPath(std::string_view path);

/// The last component without slashes; "/" for the root, empty for an empty path. A trailing slash does not count.
QRB_EXPORT std::string_view lastPathComponent(std::string_view path);

/// The path up to its last component, without a trailing slash: "/" for what lies directly below the root, empty for a
/// single relative component.
QRB_EXPORT std::string_view deletingLastPathComponent(std::string_view path);

/// The path without the "." and extension of its last component. A name that begins with its only "." has none.
QRB_EXPORT std::string_view deletingPathExtension(std::string_view path);

/// Both joined by exactly one "/", without trailing slashes; either alone when the other is empty.
QRB_EXPORT std::string appendingPathComponent(std::string_view path, std::string_view component);

/// The components between the slashes; the first is "/" for an absolute path. Doubled and trailing slashes do not
/// count.
QRB_EXPORT std::vector<std::string> pathComponents(std::string_view path);

}  // namespace qrb
