#include "GitNames.h"

#include <algorithm>
#include <utility>

#include "GitCommands.h"
#include "QRBSourceControlBranch.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlPathLocation.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlTag.h"
#include "UTF8.h"

namespace {

using Code = QRBSourceControlErrorCode;

bool isControl(char byte) {
  return static_cast<unsigned char>(byte) < 0x20 || byte == 0x7f;
}

bool hasControl(std::string_view text) {
  return std::ranges::any_of(text, isControl);
}

std::string_view componentFault(std::string_view component) {
  if (component.empty()) return "has an empty part between slashes";
  if (component.front() == '.') return "has a part that begins with “.”";
  if (component.ends_with(".lock")) return "has a part that ends with “.lock”";
  return {};
}

/// What git lets no ref be called, wherever it stands.
std::string_view refNameFault(std::string_view name) {
  if (name.empty()) return "is empty";
  if (name.front() == '-') return "begins with “-”";
  if (hasControl(name)) return "holds a control character";
  if (name.find_first_of(" ~^:?*[\\") != std::string_view::npos) return "holds one of the characters “ ~^:?*[\\”";
  if (name.find("..") != std::string_view::npos) return "holds “..”";
  if (name.find("@{") != std::string_view::npos) return "holds “@{”";
  if (name.back() == '.') return "ends with “.”";
  for (std::size_t begin = 0; begin <= name.size();) {
    std::size_t end = std::min(name.find('/', begin), name.size());
    if (std::string_view fault = componentFault(name.substr(begin, end - begin)); !fault.empty()) return fault;
    begin = end + 1;
  }
  return {};
}

bool isSchemeCharacter(char byte, bool isFirst) {
  bool isAlphanumeric = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9');
  return isAlphanumeric || (!isFirst && (byte == '+' || byte == '-' || byte == '.'));
}

/// What git would take for the scheme of a URL or for the name of a program that fetches for it.
std::string_view leadingScheme(std::string_view address) {
  std::size_t size = 0;
  while (size < address.size() && isSchemeCharacter(address[size], size == 0)) ++size;
  return address.substr(0, size);
}

/// "user@host:port", as ssh would be told it.
std::string_view serverFault(std::string_view server) {
  std::size_t at = server.rfind('@');
  std::string_view host = at == std::string_view::npos ? server : server.substr(at + 1);
  if (host.empty()) return "names no server";
  if (server.front() == '-' || host.front() == '-') return "names a server that begins with “-”";
  return {};
}

std::string_view schemeFault(std::string_view scheme, std::string_view rest) {
  constexpr std::string_view allowed[] = {"file", "git", "http", "https", "ssh"};
  if (std::ranges::find(allowed, scheme) == std::end(allowed)) {
    return "has a scheme other than file, git, http, https and ssh";
  }
  std::size_t slash = rest.find('/');
  std::string_view server = rest.substr(0, slash);
  if (scheme == "file") {
    return slash == std::string_view::npos || (!server.empty() && server != "localhost") ? "is no file of this machine"
                                                                                         : std::string_view();
  }
  std::size_t colon = server.find(':', server.find_last_of("@]") + 1);
  if (colon != std::string_view::npos && server.find_first_not_of("0123456789", colon + 1) != std::string_view::npos) {
    return "has a port that is no number (in a password “/” has to be written as “%2F”)";
  }
  return serverFault(server);
}

std::string reason(std::string_view kind, std::string_view name, std::string_view fault) {
  std::string text = "The ";
  text.append(kind).append(" “").append(qrb::replacingInvalidUTF8(name)).append("” cannot be used: it ");
  return text.append(fault).append(".");
}

qrb::Error refuse(Code code, std::string_view kind, const qrb::String& name, std::string_view fault) {
  if (fault.empty()) return {};
  return QRBSourceControlError_LocationNotFound(code, name, reason(kind, name.view(), fault));
}

}  // namespace

std::string_view gitBranchNameFault(std::string_view name) {
  // What HEAD stands for must not depend on who reads it, and “@” is another name of it.
  if (name == "HEAD" || name == "@") return "means what is checked out";
  return refNameFault(name);
}

bool gitIsObjectName(std::string_view text) {
  constexpr std::size_t sha1 = 40;
  constexpr std::size_t sha256 = 64;
  return (text.size() == sha1 || text.size() == sha256) &&
         text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

std::string_view gitRemoteNameFault(std::string_view name) {
  return refNameFault(name);
}

std::string_view gitAddressFault(std::string_view address) {
  if (address.empty()) return "is empty";
  if (address.front() == '-') return "begins with “-”";
  if (hasControl(address)) return "holds a control character";
  if (address.front() == '/') return {};
  std::string_view scheme = leadingScheme(address);
  std::string_view rest = address.substr(scheme.size());
  if (rest.starts_with("::")) return "names a program to run";
  if (rest.starts_with("://")) return schemeFault(scheme, rest.substr(3));
  std::size_t colon = address.find(':', address.find(']') == std::string_view::npos ? 0 : address.find(']'));
  if (colon == std::string_view::npos || colon > address.find('/')) {
    return "is neither a URL nor an address such as user@server:path nor an absolute path";
  }
  if (address.substr(colon + 1).starts_with('-')) return "names a path that begins with “-”";
  return serverFault(address.substr(0, colon));
}

std::string_view gitRevisionFault(std::string_view revision) {
  if (revision.empty()) return "is empty";
  return gitIsPlainRevision(revision) ? std::string_view() : "is not one revision";
}

qrb::Error gitRefuseBranchName(const qrb::String& name) {
  return refuse(Code::branchNotFound, "branch", name, gitBranchNameFault(name.view()));
}

qrb::Error gitRefuseTagName(const qrb::String& name) {
  return refuse(Code::tagNotFound, "tag", name, gitBranchNameFault(name.view()));
}

qrb::Error gitRefuseRevision(const qrb::String& revision) {
  return refuse(Code::revisionNotFound, "revision", revision, gitRevisionFault(revision.view()));
}

qrb::Error gitRefuseRemoteName(const qrb::String& name) {
  std::string_view fault = gitRemoteNameFault(name.view());
  if (fault.empty()) return {};
  qrb::Error error = QRBSourceControlError_RemoteRepositoryNameInvalid();
  qrb::StringMap<qrb::String> userInfo = error.userInfo();
  std::string description = error.localizedDescription();
  constexpr std::string_view placeholder = "%@";
  if (std::size_t place = description.find(placeholder); place != std::string::npos) {
    description.replace(place, placeholder.size(), qrb::replacingInvalidUTF8(name.view()));
  }
  userInfo.set(qrb::kErrorLocalizedDescriptionKey, description);
  userInfo.set(QRBSourceControlUnderlyingErrorString, reason("remote’s name", name.view(), fault));
  return {error.domain(), error.code(), std::move(userInfo)};
}

qrb::Error gitRefuseURL(const qrb::URL& url) {
  std::string_view fault = gitAddressFault(url.absoluteString().view());
  if (fault.empty()) return {};
  return QRBSourceControlError_InvalidURL(url, "Git",
                                          reason("URL", url.withoutPassword().absoluteString().view(), fault));
}

qrb::Error gitRefuseLocation(const QRBSourceControlRevisionLocationPtr& location) {
  if (!location) return gitLocationNotFound(location, "No location was given.");
  if (dynamic_cast<const QRBSourceControlPathLocation*>(location.get()) != nullptr) {
    return gitLocationNotFound(location, "Git has branches, tags and revisions, but no locations by path.");
  }
  const auto* branch = dynamic_cast<const QRBSourceControlBranch*>(location.get());
  const auto* tag = dynamic_cast<const QRBSourceControlTag*>(location.get());
  qrb::Error error;
  if (branch != nullptr) error = gitRefuseBranchName(branch->name());
  if (!error && branch != nullptr && branch->remoteName()) error = gitRefuseRemoteName(branch->remoteName());
  if (tag != nullptr) error = gitRefuseTagName(tag->name());
  if (error) return error;
  if (const auto& revision = location->revision()) {
    if (!revision->identifier()) return gitLocationNotFound(nullptr, "Uncommitted changes are no revision.");
    return gitRefuseRevision(revision->identifier());
  }
  if (branch != nullptr || tag != nullptr) return {};
  return gitLocationNotFound(location, "The location names neither a branch nor a tag nor a revision.");
}

std::string gitBranchRefName(const QRBSourceControlBranchPtr& branch) {
  if (!branch) return {};
  if (!branch->isRemoteBranch()) return "refs/heads/" + branch->name().str();
  return branch->remoteName() ? "refs/remotes/" + branch->remoteName().str() + "/" + branch->name().str()
                              : "refs/remotes/" + branch->name().str();
}

std::string gitPinOf(const QRBSourceControlRevisionLocationPtr& location) {
  if (!location || !location->revision()) return {};
  std::string pin = location->revision()->identifier().str();
  return pin == "HEAD" || pin == "BASE" ? std::string() : pin;
}

std::string gitLocationName(const QRBSourceControlRevisionLocationPtr& location) {
  if (!location) return {};
  if (const auto& revision = location->revision()) {
    std::string identifier = revision->identifier().str();
    return identifier == "BASE" ? "HEAD" : identifier;
  }
  if (const auto* tag = dynamic_cast<const QRBSourceControlTag*>(location.get())) {
    return "refs/tags/" + tag->name().str();
  }
  return gitBranchRefName(std::dynamic_pointer_cast<const QRBSourceControlBranch>(location));
}

qrb::Error gitLocationNotFound(const QRBSourceControlRevisionLocationPtr& location, const qrb::String& message) {
  Code code = Code::locationNotFound;
  if (location) {
    if (location->revision()) {
      return QRBSourceControlError_LocationNotFound(Code::revisionNotFound, location->revision()->identifier(),
                                                    message);
    }
    if (dynamic_cast<const QRBSourceControlBranch*>(location.get()) != nullptr) code = Code::branchNotFound;
    if (dynamic_cast<const QRBSourceControlTag*>(location.get()) != nullptr) code = Code::tagNotFound;
    if (dynamic_cast<const QRBSourceControlPathLocation*>(location.get()) != nullptr) code = Code::pathNotFound;
  }
  return QRBSourceControlError_LocationNotFound(code, location ? location->displayName() : qrb::String(), message);
}
