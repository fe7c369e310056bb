#include "SubversionSession.h"

#include <cstring>
#include <filesystem>

#include "CertificateTrust.h"
#include "Errors.h"
#include "OwnProgram.h"
#include "QRBSourceControlConstants.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlPathLocation.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlRevisionLocation.h"
#include "QRBSourceControlWorkingCopy.h"
#include "RemoteAccess.h"
#include "Sandbox.h"
#include "SubversionAddresses.h"
#include "SubversionProbe.h"
#include "SubversionRevisions.h"

namespace {

/// What a request brings of a repository, and nothing but the address where it is no remote one.
qrb::RemoteAccess accessTo(const QRBSourceControlRepositoryPtr& repository, const std::string& address) {
  if (auto remote = std::dynamic_pointer_cast<QRBSourceControlRemoteRepository>(repository)) {
    return qrb::RemoteAccess::of(*remote);
  }
  qrb::RemoteAccess access;
  access.text = qrb::addressWithoutPassword(address);
  access.address = qrb::RemoteAddress::parse(access.text);
  access.user = access.address.user.value_or("");
  return access;
}

}  // namespace

std::string subversionFolderOf(const QRBSourceControlWorkingCopyPtr& workingCopy) {
  return workingCopy && workingCopy->fileURL().isFileURL() ? workingCopy->fileURL().path().str() : std::string();
}

qrb::Error SubversionSession::enterSandbox(SubversionPurpose purpose) {
  bool mayReachServer = purpose != SubversionPurpose::lookHere;
  // What comes over the web is kept in files where there is much of it.
  bool isOnWeb = _client.access().address.scheme.starts_with("http");
  bool isWithFiles = purpose == SubversionPurpose::compare || (purpose == SubversionPurpose::look && isOnWeb);
  if (isWithFiles && _guard == nullptr) _guard = &_ownGuard.emplace();
  if (_guard != nullptr) _scratch.emplace(*_guard);
  // Through ssh, programs run that the user has configured for it.
  if (purpose == SubversionPurpose::change || _client.access().address.isSSH()) return {};
  qrb::SandboxRules rules;
  rules.mayUseTCP = mayReachServer;
  // Who asks servers for their certificates, in the same sandbox.
  if (mayReachServer && _client.access().address.scheme == "https") {
    rules.executables = {qrb::certificateProgram(), qrb::ownLoader()};
  }
  // The folder above, since the scratch folder is removed in the end.
  if (_scratch && !_scratch->path().empty()) {
    rules.writableFolders = {std::filesystem::path(_scratch->path()).parent_path().string()};
  }
  if (int refused = qrb::enterSandbox(rules)) {
    return qrb::errorWithMessage(
        QRBSourceControlError_SystemUnusable(),
        "The system refused to limit what this request may do: " + std::string(::strerrordesc_np(refused)));
  }
  qrb::limitDataMemory();
  return {};
}

qrb::Error SubversionSession::open(const QRBSourceControlWorkingCopyPtr& workingCopy, SubversionPurpose purpose) {
  _folder = subversionFolderOf(workingCopy);
  _name = workingCopy->displayName();
  auto probe = _folder.empty() ? std::nullopt : SubversionProbe::of(_folder);
  if (!probe) {
    return QRBSourceControlError_WorkingCopyNotFound("“" + _folder + "” is not the root of a working copy.");
  }
  if (probe->form == SubversionProbe::Form::old) return QRBSourceControlError_WorkingCopyNeedsUpgrade();
  QRBSourceControlRepositoryPtr repository = workingCopy->repository();
  _client.setAccess(accessTo(repository, repository ? subversionAddressOf(repository->URL()) : std::string()));
  if (qrb::Error error = _client.access().fault()) return error;
  if (qrb::Error error = enterSandbox(purpose)) return error;
  if (SubversionFailure failure = _client.info({_folder}, _info)) return errorFor(failure);
  if (purpose == SubversionPurpose::lookHere) return {};
  // The working copy says where its repository is, and may be somebody else's word.
  return subversionRefuseURL(qrb::URL(_info.url));
}

qrb::Error SubversionSession::open(const QRBSourceControlRepositoryPtr& repository, SubversionPurpose purpose) {
  _name = repository->displayName();
  // A repository may also be named by a working copy of it, which has changes besides.
  std::string folder = repository->URL().isFileURL() ? repository->URL().path().str() : std::string();
  while (folder.size() > 1 && folder.ends_with('/')) folder.pop_back();
  if (!folder.empty() && SubversionProbe::of(folder)) {
    if (SubversionFailure failure = _client.info({folder}, _info)) return errorFor(failure);
    _folder = folder;
    _client.setAccess(accessTo(nullptr, _info.rootURL));
    if (qrb::Error error = enterSandbox(purpose)) return error;
    return subversionRefuseURL(qrb::URL(_info.url));
  }
  if (qrb::Error error = subversionRefuseURL(repository->URL())) return error;
  _client.setAccess(accessTo(repository, subversionAddressOf(repository->URL())));
  if (qrb::Error error = _client.access().fault()) return error;
  const qrb::RemoteAccess& access = _client.access();
  _address = access.text.starts_with('/') ? subversionAddressOf(repository->URL()) : access.text;
  _info.url = _address;
  return enterSandbox(purpose);
}

qrb::Error SubversionSession::root(std::string& rootURL) {
  if (_info.rootURL.empty()) {
    if (SubversionFailure failure = _client.info({_address, SubversionRevision::head()}, _info)) {
      return errorFor(failure);
    }
  }
  rootURL = _info.rootURL;
  return {};
}

qrb::Error SubversionSession::errorFor(const SubversionFailure& failure,
                                       const QRBSourceControlRevisionLocationPtr& location) const {
  bool isMissing = failure.kind == SubversionFailureKind::pathNotFound;
  return isMissing ? subversionLocationNotFound(location, failure.message) : errorFor(failure);
}

SubversionFolders SubversionSession::folders() {
  return [this](const std::string& path) -> std::optional<std::vector<std::string>> {
    std::vector<SubversionEntry> entries;
    SubversionFailure failure = _client.list({subversionURL(_info.rootURL, path), SubversionRevision::head()}, entries);
    if (failure) {
      bool isMissing = failure.kind == SubversionFailureKind::pathNotFound;
      if (!isMissing && !_listingFailure) _listingFailure = failure;
      return std::nullopt;
    }
    std::vector<std::string> names;
    for (SubversionEntry& entry : entries) {
      if (entry.kind == SubversionNodeKind::folder) names.push_back(std::move(entry.name));
    }
    return names;
  };
}

qrb::Error SubversionSession::layout(const QRBSourceControlBranchAndTagLocationsPtr& given, SubversionLayout& layout) {
  layout = SubversionLayout::of(given);
  if (layout.isCompleteForBranches()) return {};
  if (!_detected) {
    std::string rootURL;
    if (qrb::Error error = root(rootURL)) return error;
    if (qrb::Error error = detect(path(), _detected.emplace())) return error;
  }
  if (layout.primary.empty()) layout.primary = _detected->primary;
  if (layout.branches.empty()) layout.branches = _detected->branches;
  if (layout.tags.empty()) layout.tags = _detected->tags;
  return {};
}

qrb::Error SubversionSession::detect(const std::string& path, SubversionLayout& layout) {
  layout = subversionDetectLayout(path, folders());
  return errorFor(_listingFailure);
}

qrb::Error SubversionSession::locate(const QRBSourceControlRevisionLocationPtr& location,
                                     const QRBSourceControlBranchAndTagLocationsPtr& given, SubversionTarget& target) {
  std::string rootURL;
  if (qrb::Error error = root(rootURL)) return error;
  SubversionLayout known;
  bool needsLayout = subversionNeedsLayout(location);
  if (needsLayout) {
    if (qrb::Error error = layout(given, known)) return error;
  }
  bool isPlace = needsLayout || dynamic_cast<const QRBSourceControlPathLocation*>(location.get()) != nullptr;
  std::string place = path();
  if (isPlace) {
    if (qrb::Error error = subversionPathOf(location, known, place)) return error;
  }
  SubversionRevision pin;
  if (qrb::Error error = subversionRevision(subversionPinOf(location), SubversionRevision::head(), pin)) return error;
  // An address has neither a base nor changes.
  bool isOfWorkingCopy = pin.kind == SubversionRevision::Kind::base || pin.kind == SubversionRevision::Kind::working;
  if (isOfWorkingCopy) {
    pin = _info.revision >= 0 && !_folder.empty() ? SubversionRevision::at(_info.revision) : SubversionRevision::head();
  }
  // A path that a revision pins is meant as it was called then; what no path names, as it is called now.
  target = {subversionURL(rootURL, place), isPlace ? pin : SubversionRevision::head(), pin};
  return {};
}
