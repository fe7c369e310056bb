#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

#include <qrb/Export.h>
#include <qrb/SharedString.h>
#include <qrb/UnicodeText.h>

/// The location of a range that was not found.
inline constexpr std::size_t QRBSourceControlNotFound = std::numeric_limits<std::int64_t>::max();

/// Whether a text holds a search term, without regard to case and diacritical marks: what the search of a history
/// means. `range`, which may be null, gets the first place in bytes, or QRBSourceControlNotFound and length 0. An empty
/// or absent term is found nowhere. Any thread.
QRB_EXPORT bool containsSearchTerm(const qrb::String& searchTerm, const qrb::String& text, qrb::TextRange* range);

namespace qrb {

/// Where a tool is expected that came with the installation of a plug-in whose program stands in `programFolder`;
/// whether it is there is not looked at. With an empty folder, which is logged: in /usr/bin.
QRB_EXPORT std::string launchPathForTask(std::string_view tool, std::string_view programFolder);

}  // namespace qrb
