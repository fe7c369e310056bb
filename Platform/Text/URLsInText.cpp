#include "URLsInText.h"

#include <algorithm>

#include "URL.h"

namespace qrb {

std::string withoutPasswordsOfURLs(std::string_view text) {
  constexpr std::string_view separator = "://";
  std::string shown;
  while (!text.empty()) {
    std::size_t next = text.find(separator);
    if (next == std::string_view::npos) break;
    shown += text.substr(0, next);
    text.remove_prefix(next);
    std::size_t end = std::min(text.find_first_of(" \t\r\n"), text.size());
    // The scheme of another URL begins in what ends the last.
    end = std::min(end, text.find(separator, separator.size()));
    shown += URL(String(text.substr(0, end))).withoutPassword().absoluteString().view();
    text.remove_prefix(end);
  }
  return shown.append(text);
}

}  // namespace qrb
