#include "GitBranchValues.h"
#include "GitMissingRevision.h"
#include "GitNames.h"
#include "GitPlugIn.h"
#include "QRBSourceControlBranch.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlWorkingCopy.h"

namespace {

GitOutcome resolveHead(const GitTool& tool, QRBSourceControlRevisionPtr& revision) {
  std::string hash;
  GitOutcome outcome = tool.run(gitResolveCommand("HEAD"), hash);
  if (outcome) revision = QRBSourceControlRevision::initWithIdentifier(hash);
  // The command says only that there is no such revision, and asks for this one alone.
  if (outcome.failedWith(GitFailureKind::unknownRevision)) outcome.failure.kind = GitFailureKind::unbornHead;
  return outcome;
}

GitOutcome currentLocation(const GitTool& tool, QRBSourceControlRevisionLocationPtr& location) {
  std::string output;
  GitOutcome outcome = tool.run(gitCurrentLocationCommand(), output);
  if (outcome) {
    std::vector<std::string> answer = gitLines(output);
    if (answer.size() != 2) return GitOutcome::unreadable("two lines were expected", 0);
    std::string_view name = gitLocalBranchName(answer[1]);
    if (answer[1] == "HEAD") {
      location =
          QRBSourceControlRevisionLocation::initWithRevision(QRBSourceControlRevision::initWithIdentifier(answer[0]));
    } else {
      location = gitLocalBranch(name, answer[0]);
    }
    return outcome;
  }
  if (!outcome.failedWith(GitFailureKind::unbornHead)) return outcome;
  output.clear();
  outcome = tool.run(gitCurrentBranchCommand(), output);
  std::string_view name = gitLocalBranchName(output);
  if (outcome) location = gitLocalBranch(name, {});
  return outcome;
}

}  // namespace

void GitPlugIn::currentLocationOfWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy,
                                             Completion<QRBSourceControlRevisionLocationPtr> completionBlock) {
  QRBSourceControlRevisionLocationPtr location;
  GitOutcome outcome = currentLocation(lookAt(workingCopy), location);
  completionBlock(location, errorFor(outcome, workingCopy));
}

void GitPlugIn::baseRevisionOfWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy,
                                          Completion<QRBSourceControlRevisionPtr> completionBlock) {
  QRBSourceControlRevisionPtr revision;
  GitOutcome outcome = resolveHead(lookAt(workingCopy), revision);
  completionBlock(revision, errorFor(outcome, workingCopy));
}

void GitPlugIn::headRevisionOfRepository(const QRBSourceControlRepositoryPtr& repository,
                                         Completion<QRBSourceControlRevisionPtr> completionBlock) {
  if (auto remote = std::dynamic_pointer_cast<QRBSourceControlRemoteRepository>(repository)) {
    return headRevisionOfRemote(remote, completionBlock);
  }
  QRBSourceControlRevisionPtr revision;
  GitOutcome outcome = resolveHead(lookAt(repository), revision);
  completionBlock(revision, errorFor(outcome, repository));
}

void GitPlugIn::identifierOfRepositoryForWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy,
                                                     Completion<qrb::String> completionBlock) {
  GitTool tool = lookAt(workingCopy);
  std::string output;
  GitOutcome outcome = tool.run(gitLocationCommand(), output);
  if (!outcome) return completionBlock({}, errorFor(outcome, workingCopy));
  auto place = gitReadLocation(output);
  if (!place) return completionBlock({}, errorFor(GitOutcome::unreadable("no location", 0), workingCopy));
  if (place->isShallow) return completionBlock({}, {});
  std::string identifier;
  outcome = tool.run(gitRepositoryIdentifierCommand(), identifier);
  if (outcome.failedWith(GitFailureKind::unbornHead)) return completionBlock({}, {});
  if (!outcome) return completionBlock({}, errorFor(outcome, workingCopy));
  completionBlock(identifier, {});
}

void GitPlugIn::revisionOfLocation(const QRBSourceControlRevisionLocationPtr& location,
                                   const QRBSourceControlRepositoryPtr& inRepository,
                                   const QRBSourceControlBranchAndTagLocationsPtr&,
                                   Completion<QRBSourceControlRevisionPtr> completionBlock) {
  if (auto remote = std::dynamic_pointer_cast<QRBSourceControlRemoteRepository>(inRepository)) {
    return revisionOfRemoteLocation(location, remote, completionBlock);
  }
  if (qrb::Error refusal = gitRefuseLocation(location)) return completionBlock(nullptr, refusal);
  std::string hash;
  GitTool tool = lookAt(inRepository);
  std::string name = gitLocationName(location);
  GitOutcome outcome = gitExplainMissingRevision(tool, name, tool.run(gitResolveCommand(name), hash));
  if (outcome.failedWith(GitFailureKind::unknownRevision)) {
    return completionBlock(nullptr, gitLocationNotFound(location, outcome.failure.message));
  }
  if (!outcome) return completionBlock(nullptr, errorFor(outcome, inRepository));
  completionBlock(QRBSourceControlRevision::initWithIdentifier(hash), {});
}
