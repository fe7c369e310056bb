// What a remote says of itself, asked without a repository of our own.

#include "GitBranchValues.h"
#include "GitErrors.h"
#include "GitNames.h"
#include "GitNetworkCommands.h"
#include "GitPlugIn.h"
#include "GitRemoteRefs.h"
#include "GitRemoteTool.h"
#include "QRBSourceControlBranch.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlTag.h"

namespace {

constexpr const char* nothingThere = "The remote has none.";

/// What to ask a remote for to see whether the location is there; empty: nothing can tell.
std::string askedRef(const QRBSourceControlRevisionLocationPtr& location) {
  if (const auto* branch = dynamic_cast<const QRBSourceControlBranch*>(location.get())) {
    return "refs/heads/" + branch->name().str();
  }
  if (const auto* tag = dynamic_cast<const QRBSourceControlTag*>(location.get())) {
    return "refs/tags/" + tag->name().str();
  }
  return {};
}

/// Refuses names that git would not take; a location that names nothing asks for nothing.
qrb::Error refusalOf(const QRBSourceControlRevisionLocationPtr& location, const std::string& asked) {
  if (!location || asked.empty()) return {};
  return gitRefuseLocation(location->locationWithRevision(nullptr));
}

}  // namespace

qrb::Error GitPlugIn::listRemote(const QRBSourceControlRemoteRepositoryPtr& repository, const std::string& refs,
                                 std::string& output) const {
  // In no repository, whose settings would take part.
  GitRemoteTool remote("/", repository, host().connectionDescriptor());
  if (qrb::Error error = remote.open()) return error;
  return remote.errorFor(remote.run(gitListRemoteCommand(refs), [&](std::string_view bytes) {
    output.append(bytes);
    return true;
  }));
}

qrb::Error GitPlugIn::validateServer(const QRBSourceControlRemoteRepositoryPtr& repository) const {
  GitRemoteTool remote("/", repository, host().connectionDescriptor());
  if (qrb::Error error = remote.open()) return error;
  GitOutcome outcome = remote.run(gitListRemoteCommand("HEAD"));
  if (remote.wasAccepted(outcome)) return {};
  bool wasUnasked = outcome.failedWith(GitFailureKind::remoteNotFound);
  return wasUnasked ? QRBSourceControlError_RemoteRepositoryNotFound(
                          "The server did not ask for a password. Only a repository there can tell whether it is "
                          "accepted.")
                    : remote.errorFor(outcome);
}

void GitPlugIn::headRevisionOfRemote(const QRBSourceControlRemoteRepositoryPtr& repository,
                                     const Completion<QRBSourceControlRevisionPtr>& completionBlock) {
  std::string output;
  if (qrb::Error error = listRemote(repository, "HEAD", output)) return completionBlock(nullptr, error);
  std::string_view hash = gitHashOfRemoteRef(output, "HEAD");
  if (!hash.empty()) return completionBlock(QRBSourceControlRevision::initWithIdentifier(hash), {});
  completionBlock(nullptr, QRBSourceControlError_LocationNotFound(QRBSourceControlErrorCode::revisionNotFound, "HEAD",
                                                                  nothingThere));
}

void GitPlugIn::revisionOfRemoteLocation(const QRBSourceControlRevisionLocationPtr& location,
                                         const QRBSourceControlRemoteRepositoryPtr& repository,
                                         const Completion<QRBSourceControlRevisionPtr>& completionBlock) {
  // A remote does not say whether it has a revision.
  if (!gitPinOf(location).empty()) return completionBlock(location->revision(), {});
  std::string asked = askedRef(location);
  if (asked.empty()) return headRevisionOfRemote(repository, completionBlock);
  qrb::Error error = refusalOf(location, asked);
  std::string output;
  // What a tag with a message of its own is on comes under its name and "^{}", but only where a pattern is asked for.
  bool isTag = dynamic_cast<const QRBSourceControlTag*>(location.get()) != nullptr;
  if (!error) error = listRemote(repository, isTag ? asked + "*" : asked, output);
  if (error) return completionBlock(nullptr, error);
  std::string_view hash = gitHashOfRemoteRef(output, asked + "^{}");
  if (hash.empty()) hash = gitHashOfRemoteRef(output, asked);
  if (hash.empty()) return completionBlock(nullptr, gitLocationNotFound(location, nothingThere));
  completionBlock(QRBSourceControlRevision::initWithIdentifier(hash), {});
}

void GitPlugIn::listBranchesOfRemote(const QRBSourceControlRemoteRepositoryPtr& repository,
                                     const Completion<Branches>& completionBlock) {
  std::string output;
  if (qrb::Error error = listRemote(repository, "refs/heads/*", output)) return completionBlock({}, error);
  Branches branches;
  for (const GitRemoteRef& ref : gitReadRemoteRefs(output, "refs/heads/")) {
    branches.push_back(gitLocalBranch(ref.name, ref.hash));
  }
  completionBlock(branches, {});
}

void GitPlugIn::validateAuthenticationOfRemoteRepository(const QRBSourceControlRemoteRepositoryPtr& repository,
                                                         const QRBSourceControlRevisionLocationPtr& location,
                                                         const QRBSourceControlBranchAndTagLocationsPtr&,
                                                         Completion<> completionBlock) {
  std::string asked = askedRef(location);
  qrb::Error error = refusalOf(location, asked);
  if (!error && !location && repository && qrb::RemoteAccess::of(*repository).address.isServer()) {
    return completionBlock(validateServer(repository));
  }
  std::string output;
  if (!error) error = listRemote(repository, asked.empty() ? "HEAD" : asked, output);
  // Git also shows what ends with the name.
  if (!error && !asked.empty() && gitHashOfRemoteRef(output, asked).empty()) {
    error = gitLocationNotFound(location->locationWithRevision(nullptr), nothingThere);
  }
  completionBlock(error);
}
