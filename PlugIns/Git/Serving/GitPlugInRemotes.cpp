#include <algorithm>

#include "GitBranchCommands.h"
#include "GitNames.h"
#include "GitPlugIn.h"
#include "GitRepositoryCommands.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlRepository.h"
#include "QRBSourceControlURL.h"
#include "RemoteAddress.h"

namespace {

/// The name of the remote that the branch checked out follows; empty where it follows none.
std::string remoteOfCurrentBranch(const GitTool& tool) {
  std::string branch;
  if (!tool.run(gitCurrentBranchCommand(), branch)) return {};
  std::string output;
  if (!tool.run(gitUpstreamCommand(branch), output)) return {};
  auto upstream = gitReadUpstream(output);
  return upstream ? upstream->remote : std::string();
}

/// None where only a guess could choose: what is sent there cannot be taken back.
const GitRemote* primaryOf(const std::vector<GitRemote>& remotes, const GitTool& tool) {
  if (remotes.empty()) return nullptr;
  if (remotes.size() == 1) return &remotes.front();
  for (const std::string& name : {remoteOfCurrentBranch(tool), std::string("origin")}) {
    auto found = std::ranges::find(remotes, name, &GitRemote::name);
    if (found != remotes.end()) return &*found;
  }
  return nullptr;
}

/// The port that says which protocol a password is for.
std::uint64_t portOf(const qrb::URL& url) {
  if (auto port = url.port(); port && *port > 0) return static_cast<std::uint64_t>(*port);
  qrb::String scheme = qrbscm_scheme(url);
  if (scheme == qrb::String("http")) return 80;
  if (scheme == qrb::String("https")) return 443;
  if (scheme == qrb::String("git")) return 9418;
  return 22;
}

}  // namespace

qrb::Result<std::vector<GitRemote>> GitPlugIn::listRemotes(const GitTool& tool,
                                                           const QRBSourceControlRepositoryPtr& repository) {
  std::string output;
  GitOutcome outcome = tool.run(gitRemoteAddressesCommand(), output);
  if (!outcome) return errorFor(outcome, repository);
  auto read = gitReadRemotes(output);
  if (!read) return errorFor(GitOutcome::unreadable("remotes were expected", 0), repository);
  return *std::move(read);
}

void GitPlugIn::listRemoteRepositoriesForRepository(
    const QRBSourceControlRepositoryPtr& repository,
    Completion<QRBSourceControlRemoteRepositoryPtr, QRBSourceControlRemoteRepositoriesPtr> completionBlock) {
  GitTool tool = lookAt(repository);
  auto remotes = listRemotes(tool, repository);
  if (!remotes) return completionBlock(nullptr, nullptr, remotes.error());
  const GitRemote* primary = primaryOf(*remotes, tool);
  QRBSourceControlRemoteRepositoryPtr primaryRepository;
  std::vector<QRBSourceControlRemoteRepositories::value_type> entries;
  for (const GitRemote& remote : *remotes) {
    qrb::URL url = gitRemoteURL(remote.address, folderOf(repository));
    // What a repository is known by, its history decides, and that it shares with its remotes.
    entries.emplace_back(remote.name,
                         QRBSourceControlRemoteRepository::initUnsavedWithURL(url, repository->identifier(), system()));
    if (&remote == primary) primaryRepository = entries.back().second;
  }
  completionBlock(primaryRepository, std::make_shared<QRBSourceControlRemoteRepositories>(std::move(entries)), {});
}

void GitPlugIn::addRemoteRepository(const QRBSourceControlRemoteRepositoryPtr& remoteRepository,
                                    const qrb::String& withName, const QRBSourceControlRepositoryPtr& toRepository,
                                    Completion<> completionBlock) {
  qrb::URL url = remoteRepository
                     ? qrb::URL(qrb::addressWithoutPassword(remoteRepository->URL().absoluteString().view()))
                     : qrb::URL();
  qrb::Error refusal = gitRefuseRemoteName(withName);
  if (!refusal) refusal = gitRefuseURL(url);
  if (refusal) return completionBlock(refusal);
  GitOutcome outcome = toolFor(toRepository).run(gitAddRemoteCommand(withName.view(), url.absoluteString().view()));
  if (outcome.failedWith(GitFailureKind::exists)) {
    return completionBlock(gitAlreadyExists(GitThing::remoteRepository, withName, outcome.failure.message));
  }
  completionBlock(errorFor(outcome, toRepository));
}

void GitPlugIn::removeRemoteRepositoryNamed(const qrb::String& name,
                                            const QRBSourceControlRepositoryPtr& fromRepository,
                                            Completion<> completionBlock) {
  if (qrb::Error refusal = gitRefuseRemoteName(name)) return completionBlock(refusal);
  completionBlock(errorFor(toolFor(fromRepository).run(gitRemoveRemoteCommand(name.view())), fromRepository));
}

void GitPlugIn::keychainNameFromURL(const qrb::URL& url,
                                    Completion<qrb::String, std::uint64_t, qrb::String> completionBlock) {
  if (qrb::Error refusal = gitRefuseURL(url)) return completionBlock({}, 0, {}, refusal);
  if (url.isFileURL() || url.absoluteString().view().starts_with('/')) return completionBlock({}, 0, {}, {});
  bool hasScheme = !qrbscm_isSCPURI(url);
  completionBlock(hasScheme ? url.host() : qrbscm_host(url), portOf(url), hasScheme ? url.user() : qrbscm_user(url),
                  {});
}
