#pragma once

#include <string>
#include <string_view>

namespace qrb {

/// Bytes as they may stand in the path of a URL: all but the characters that RFC 3986 allows in a path become "%XX".
/// A "%" is data here and is encoded. "/" stands as it is, unless `encodingSlashes` is set.
std::string percentEncodedPath(std::string_view path, bool encodingSlashes = false);

/// The bytes with every "%XX" turned into the byte it stands for; a "%" that begins none stays. The result need not be
/// UTF-8.
std::string percentDecoded(std::string_view text);

}  // namespace qrb
