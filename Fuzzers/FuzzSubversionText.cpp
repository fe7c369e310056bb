#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "RemoteAddress.h"
#include "SubversionAddresses.h"
#include "SubversionDiffParser.h"
#include "SubversionExternals.h"
#include "SubversionLayout.h"

namespace {

std::string readDiff(std::string_view bytes, std::size_t cut) {
  SubversionDiffParser parser;
  parser.feed(bytes.substr(0, cut));
  parser.feed(bytes.substr(cut));
  parser.finish();
  std::string result;
  for (const SubversionDiffFile& file : parser.files()) {
    result += std::to_string(file.additions) + ' ' + std::to_string(file.deletions) + ' ' +
              std::to_string(int{file.isBinary});
    result.append(file.path).append(1, '\0').append(file.patch);
  }
  return result;
}

/// Whatever a definition says, nobody is sent elsewhere.
void checkExternal(const std::string& written) {
  const std::string root = "https://host/svn/repository";
  SubversionExternalPlace place = subversionPlaceOf({"/work", "target", written, {}, {}}, root, root + "/trunk");
  if (!place.refusal.empty()) return;
  qrb::RemoteAddress address = qrb::RemoteAddress::parse(place.url);
  bool stays = address.scheme == "https" && address.host == "host" && address.port == "443" && !address.user;
  if (!stays || !subversionAddressFault(place.url).empty()) std::abort();
  if (place.url.find("/../") != std::string::npos) std::abort();
}

/// A layout that a path tells by itself holds that path's own folders.
void checkLayout(std::string_view path) {
  SubversionLayout layout = subversionLayoutAlong(path);
  if (!layout.primary.empty() && layout.branches.empty()) std::abort();
  if (layout.locationOf(path) == nullptr) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view bytes(reinterpret_cast<const char*>(data), size);
  std::string whole = readDiff(bytes, size);
  if (readDiff(bytes, size / 2) != whole || readDiff(bytes, size < 3 ? size : 3) != whole) std::abort();
  std::string text(bytes.substr(0, bytes.find('\0')));
  checkExternal(text);
  checkLayout(subversionTrimmed(text));
  return 0;
}
