#include <algorithm>
#include <map>

#include "GitPlugIn.h"
#include "GitRefParser.h"
#include "QRBSourceControlBranch.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlWorkingCopy.h"

namespace {

constexpr std::string_view branchFolder = "refs/heads/";

/// Git marks no branch as the main one; these names are what it gives the first. A branch found by different requests
/// must be equal, so nothing but the name may decide.
bool isPrimary(std::string_view name) {
  return name == "main" || name == "master";
}

QRBSourceControlBranchPtr pinned(const QRBSourceControlBranchPtr& branch, std::string_view hash) {
  return std::static_pointer_cast<const QRBSourceControlBranch>(
      branch->locationWithRevision(QRBSourceControlRevision::initWithIdentifier(hash)));
}

std::string_view withoutFolder(std::string_view fullName) {
  return fullName.starts_with(branchFolder) ? fullName.substr(branchFolder.size()) : fullName;
}

/// The remote that a remote branch's name begins with: the longest, since names of remotes may hold slashes.
std::string_view remoteOf(std::string_view name, const std::vector<std::string>& remotes) {
  std::string_view best;
  for (const std::string& remote : remotes) {
    if (remote.size() > best.size() && name.size() > remote.size() + 1 && name.starts_with(remote) &&
        name[remote.size()] == '/') {
      best = remote;
    }
  }
  // What is left of a remote that was removed by hand.
  return best.empty() ? name.substr(0, name.find('/')) : best;
}

std::vector<std::string> lines(std::string_view text) {
  std::vector<std::string> result;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    result.emplace_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return result;
}

GitOutcome resolveHead(const GitTool& tool, QRBSourceControlRevisionPtr& revision) {
  std::string hash;
  GitOutcome outcome = tool.run(gitResolveCommand("HEAD"), hash);
  if (outcome) revision = QRBSourceControlRevision::initWithIdentifier(hash);
  // The command says only that there is no such revision, and asks for this one alone.
  if (outcome.failedWith(GitFailureKind::UnknownRevision)) outcome.failure.kind = GitFailureKind::UnbornHead;
  return outcome;
}

GitOutcome currentLocation(const GitTool& tool, QRBSourceControlRevisionLocationPtr& location) {
  std::string output;
  GitOutcome outcome = tool.run(gitCurrentLocationCommand(), output);
  if (outcome) {
    const std::vector<std::string> answer = lines(output);
    if (answer.size() != 2) return GitOutcome::unreadable("two lines were expected", 0);
    const std::string_view name = withoutFolder(answer[1]);
    if (answer[1] == "HEAD") {
      location =
          QRBSourceControlRevisionLocation::initWithRevision(QRBSourceControlRevision::initWithIdentifier(answer[0]));
    } else {
      location = pinned(QRBSourceControlBranch::initWithBranchName(name, isPrimary(name)), answer[0]);
    }
    return outcome;
  }
  if (!outcome.failedWith(GitFailureKind::UnbornHead)) return outcome;
  output.clear();
  outcome = tool.run(gitCurrentBranchCommand(), output);
  const std::string_view name = withoutFolder(output);
  if (outcome) location = QRBSourceControlBranch::initWithBranchName(name, isPrimary(name));
  return outcome;
}

}  // namespace

void GitPlugIn::currentLocationOfWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy,
                                             Completion<QRBSourceControlRevisionLocationPtr> completionBlock) {
  QRBSourceControlRevisionLocationPtr location;
  const GitOutcome outcome = currentLocation(toolFor(workingCopy), location);
  completionBlock(location, errorFor(outcome, workingCopy));
}

void GitPlugIn::baseRevisionOfWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy,
                                          Completion<QRBSourceControlRevisionPtr> completionBlock) {
  QRBSourceControlRevisionPtr revision;
  const GitOutcome outcome = resolveHead(toolFor(workingCopy), revision);
  completionBlock(revision, errorFor(outcome, workingCopy));
}

void GitPlugIn::headRevisionOfRepository(const QRBSourceControlRepositoryPtr& repository,
                                         Completion<QRBSourceControlRevisionPtr> completionBlock) {
  QRBSourceControlRevisionPtr revision;
  const GitOutcome outcome = resolveHead(toolFor(repository), revision);
  completionBlock(revision, errorFor(outcome, repository));
}

void GitPlugIn::identifierOfRepositoryForWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy,
                                                     Completion<qrb::String> completionBlock) {
  const GitTool tool = toolFor(workingCopy);
  std::string output;
  GitOutcome outcome = tool.run(gitLocationCommand(), output);
  if (!outcome) return completionBlock({}, errorFor(outcome, workingCopy));
  const auto place = gitReadLocation(output);
  if (!place) return completionBlock({}, errorFor(GitOutcome::unreadable("no location", 0), workingCopy));
  if (place->isShallow) return completionBlock({}, {});
  std::string identifier;
  outcome = tool.run(gitRepositoryIdentifierCommand(), identifier);
  if (outcome.failedWith(GitFailureKind::UnbornHead)) return completionBlock({}, {});
  if (!outcome) return completionBlock({}, errorFor(outcome, workingCopy));
  completionBlock(identifier, {});
}

void GitPlugIn::listBranchesOfRepository(const QRBSourceControlRepositoryPtr& repository,
                                         const QRBSourceControlBranchAndTagLocationsPtr&,
                                         Completion<Branches> completionBlock) {
  Branches branches;
  GitRefParser parser;
  const GitOutcome outcome =
      toolFor(repository).parse(gitBranchesCommand(GitBranches::Local), parser, [&](const GitRefRecord& record) {
        branches.push_back(
            pinned(QRBSourceControlBranch::initWithBranchName(record.name, isPrimary(record.name)), record.hash));
      });
  if (!outcome) branches.clear();
  completionBlock(branches, errorFor(outcome, repository));
}

void GitPlugIn::listRemoteBranchesOfRepository(
    const QRBSourceControlRepositoryPtr& repository, const QRBSourceControlBranchAndTagLocationsPtr&,
    Completion<Branches, QRBSourceControlRemoteBranchesPtr> completionBlock) {
  const GitTool tool = toolFor(repository);
  std::string remoteNames;
  GitOutcome outcome = tool.run(gitRemotesCommand(), remoteNames);
  if (!outcome) return completionBlock({}, nullptr, errorFor(outcome, repository));
  const std::vector<std::string> remotes = lines(remoteNames);
  std::map<std::string, Branches, std::less<>> byRemote;
  for (const std::string& remote : remotes) byRemote[remote];
  Branches all;
  GitRefParser parser;
  outcome = tool.parse(gitBranchesCommand(GitBranches::Remote), parser, [&](const GitRefRecord& record) {
    const std::string_view remote = remoteOf(record.name, remotes);
    if (remote.size() + 1 >= record.name.size()) return;
    const std::string_view name = record.name.substr(remote.size() + 1);
    all.push_back(
        pinned(QRBSourceControlBranch::initWithBranchNameRemoteName(name, isPrimary(name), remote), record.hash));
    byRemote[std::string(remote)].push_back(all.back());
  });
  if (!outcome) return completionBlock({}, nullptr, errorFor(outcome, repository));
  std::vector<QRBSourceControlRemoteBranches::value_type> entries;
  for (auto& [remote, branches] : byRemote) entries.emplace_back(remote, std::move(branches));
  completionBlock(all, std::make_shared<QRBSourceControlRemoteBranches>(std::move(entries)), {});
}
