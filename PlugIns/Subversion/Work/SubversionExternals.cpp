#include "SubversionExternals.h"

#include <algorithm>
#include <filesystem>
#include <string_view>

#include "FilePaths.h"
#include "RemoteAddress.h"
#include "SubversionAddresses.h"
#include "SubversionProbe.h"

namespace {

namespace fs = std::filesystem;

/// Definitions within definitions end somewhere, unless they lead in a circle.
constexpr int deepest = 8;

/// "scheme://server" of an address; of a file "file://".
std::string_view serverOf(std::string_view url) {
  std::size_t begin = url.find("://");
  if (begin == std::string_view::npos) return {};
  return url.substr(0, std::min(url.find('/', begin + 3), url.size()));
}

/// Appends a path to an address and takes ".." out; false where that leads above the server.
bool join(std::string& url, std::string_view path) {
  std::size_t server = serverOf(url).size();
  for (std::string_view part : qrb::pathNames(path)) {
    if (part == ".") continue;
    if (part != "..") {
      url.append("/").append(part);
      continue;
    }
    std::size_t slash = url.rfind('/');
    if (slash == std::string::npos || slash < server) return false;
    url.resize(slash);
  }
  return true;
}

bool staysOnServer(const std::string& url, const std::string& rootURL) {
  if (url == rootURL || url.starts_with(rootURL + "/")) return true;
  qrb::RemoteAddress own = qrb::RemoteAddress::parse(rootURL);
  qrb::RemoteAddress other = qrb::RemoteAddress::parse(url);
  return own.scheme != "file" && own.scheme == other.scheme && own.host == other.host && own.port == other.port;
}

class Bringing {
 public:
  Bringing(SubversionClient& client, std::vector<std::string>& leftOut) : _client(client), _leftOut(leftOut) {}

  SubversionFailure bring(const std::string& root, int depth) {
    std::vector<SubversionExternal> externals;
    if (SubversionFailure failure = _client.externals(root, externals)) return failure;
    for (const SubversionExternal& external : externals) {
      SubversionInfo folder;
      if (SubversionFailure failure = _client.info({external.folder}, folder)) return failure;
      SubversionExternalPlace place = subversionPlaceOf(external, folder.rootURL, folder.url);
      std::string target;
      if (place.refusal.empty()) place.refusal = fit(external, target);
      if (place.refusal.empty()) {
        SubversionFailure failure = bringOne(external, place.url, target);
        if (failure.kind == SubversionFailureKind::cancelled) return failure;
        place.refusal = failure.message;
      }
      if (place.refusal.empty() && depth < deepest) {
        if (SubversionFailure failure = bring(target, depth + 1)) return failure;
      }
      if (!place.refusal.empty()) {
        _leftOut.push_back("The external “" + external.target + "” of “" + external.folder + "” (" + external.url +
                           ") was left out: " + place.refusal);
      }
    }
    return {};
  }

 private:
  /// Why there is no place for it on disk.
  static std::string fit(const SubversionExternal& external, std::string& target) {
    std::string path;
    if (auto refused = qrb::resolveFilePath(external.folder, external.target, ".svn", path)) return refused->message;
    if (external.target.starts_with('/') || path == ".") return "It would lie outside of its folder.";
    if (qrb::isBeyondLink(external.folder, path + "/")) return "A symbolic link is in the way.";
    target = qrb::pathOnDisk(external.folder, path);
    return {};
  }

  SubversionFailure bringOne(const SubversionExternal& external, const std::string& url, const std::string& target) {
    SubversionTarget source{url, external.peg, external.revision};
    SubversionInfo there;
    if (SubversionFailure failure = _client.info(source, there)) return failure;
    if (there.kind != SubversionNodeKind::folder) {
      return {SubversionFailureKind::notSupported, "It is a file, and only folders are brought."};
    }
    long result = -1;
    std::error_code error;
    if (!fs::exists(fs::symlink_status(target, error))) {
      fs::create_directories(fs::path(target).parent_path(), error);
      return _client.checkout(source, target, result);
    }
    SubversionInfo here;
    if (!SubversionProbe::of(target) || _client.info({target}, here) || here.workingCopyRoot != here.place) {
      return {SubversionFailureKind::exists, "Something else is there already."};
    }
    if (here.url == url) return _client.update(target, external.revision, result);
    if (here.rootURL == there.rootURL) return _client.switchTo(target, url, external.revision, result);
    return {SubversionFailureKind::exists, "A working copy of another repository is there already."};
  }

  SubversionClient& _client;
  std::vector<std::string>& _leftOut;
};

}  // namespace

SubversionExternalPlace subversionPlaceOf(const SubversionExternal& external, const std::string& rootURL,
                                          const std::string& folderURL) {
  std::string_view text = external.url;
  std::string url;
  std::string_view rest;
  if (text.starts_with("^/")) {
    url = rootURL;
    rest = text.substr(2);
  } else if (text.starts_with("//")) {
    url = rootURL.substr(0, rootURL.find("://") + 1) + std::string(text);
  } else if (text.starts_with('/')) {
    url = std::string(serverOf(rootURL));
    rest = text;
  } else if (text.find("://") != std::string_view::npos) {
    url = std::string(text);
  } else {
    url = folderURL;
    rest = text;
  }
  if (!join(url, rest)) return {{}, "The address leads above the server."};
  while (url.ends_with('/')) url.pop_back();
  if (std::string_view fault = subversionAddressFault(url); !fault.empty()) {
    return {{}, "The address " + std::string(fault) + "."};
  }
  // As it is written it may go back up where nothing shows.
  if (url.find("/../") != std::string::npos || url.ends_with("/..")) return {{}, "The address leads above itself."};
  if (!staysOnServer(url, rootURL)) return {{}, "It is not on the server that the repository is on."};
  return {url, {}};
}

SubversionFailure subversionBringExternals(SubversionClient& client, const std::string& root,
                                           std::vector<std::string>& leftOut) {
  return Bringing(client, leftOut).bring(root, 0);
}
