#include <map>
#include <span>

#include "GitBranchCommands.h"
#include "GitBranchValues.h"
#include "GitMissingRevision.h"
#include "GitNames.h"
#include "GitParentBranches.h"
#include "GitPlugIn.h"
#include "GitRefParser.h"
#include "QRBSourceControlBranch.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlTag.h"

namespace {

GitOutcome listRemoteNames(const GitTool& tool, std::vector<std::string>& remotes) {
  std::string names;
  GitOutcome outcome = tool.run(gitRemotesCommand(), names);
  if (outcome) remotes = gitLines(names);
  return outcome;
}

}  // namespace

void GitPlugIn::listBranchesOfRepository(const QRBSourceControlRepositoryPtr& repository,
                                         const QRBSourceControlBranchAndTagLocationsPtr&,
                                         Completion<Branches> completionBlock) {
  if (auto remote = std::dynamic_pointer_cast<QRBSourceControlRemoteRepository>(repository)) {
    return listBranchesOfRemote(remote, completionBlock);
  }
  Branches branches;
  GitRefParser parser;
  GitOutcome outcome =
      lookAt(repository).parse(gitBranchesCommand(GitBranches::local), parser, [&](const GitRefRecord& record) {
        branches.push_back(gitLocalBranch(record.name, record.hash));
      });
  if (!outcome) branches.clear();
  completionBlock(branches, errorFor(outcome, repository));
}

void GitPlugIn::listTagsOfRepository(const QRBSourceControlRepositoryPtr& repository,
                                     const QRBSourceControlBranchAndTagLocationsPtr&,
                                     Completion<std::vector<QRBSourceControlTagPtr>> completionBlock) {
  std::vector<QRBSourceControlTagPtr> tags;
  GitRefParser parser;
  GitOutcome outcome = lookAt(repository).parse(gitTagsCommand(), parser, [&](const GitRefRecord& record) {
    auto tag = QRBSourceControlTag::initWithTagName(record.name);
    auto revision = record.hash.empty() ? nullptr : QRBSourceControlRevision::initWithIdentifier(record.hash);
    tags.push_back(std::static_pointer_cast<const QRBSourceControlTag>(tag->locationWithRevision(revision)));
  });
  if (!outcome) tags.clear();
  completionBlock(tags, errorFor(outcome, repository));
}

void GitPlugIn::listRemoteBranchesOfRepository(
    const QRBSourceControlRepositoryPtr& repository, const QRBSourceControlBranchAndTagLocationsPtr&,
    Completion<Branches, QRBSourceControlRemoteBranchesPtr> completionBlock) {
  GitTool tool = lookAt(repository);
  std::vector<std::string> remotes;
  GitOutcome outcome = listRemoteNames(tool, remotes);
  if (!outcome) return completionBlock({}, nullptr, errorFor(outcome, repository));
  std::map<std::string, Branches, std::less<>> byRemote;
  for (const std::string& remote : remotes) byRemote[remote];
  Branches all;
  GitRefParser parser;
  outcome = tool.parse(gitBranchesCommand(GitBranches::remote), parser, [&](const GitRefRecord& record) {
    std::string_view remote = gitRemoteOfBranch(record.name, remotes);
    if (remote.size() + 1 >= record.name.size()) return;
    std::string_view name = record.name.substr(remote.size() + 1);
    all.push_back(gitRemoteBranch(name, remote, record.hash));
    byRemote[std::string(remote)].push_back(all.back());
  });
  if (!outcome) return completionBlock({}, nullptr, errorFor(outcome, repository));
  std::vector<QRBSourceControlRemoteBranches::value_type> entries;
  for (auto& [remote, branches] : byRemote) entries.emplace_back(remote, std::move(branches));
  completionBlock(all, std::make_shared<QRBSourceControlRemoteBranches>(std::move(entries)), {});
}

void GitPlugIn::parentBranchesOfBranch(const QRBSourceControlBranchPtr& branch,
                                       const QRBSourceControlRepositoryPtr& inRepository,
                                       const QRBSourceControlBranchAndTagLocationsPtr&,
                                       Completion<QRBSourceControlBranchPtr, Branches> completionBlock) {
  if (qrb::Error refusal = gitRefuseLocation(branch)) return completionBlock(nullptr, {}, refusal);
  GitTool tool = lookAt(inRepository);
  std::vector<std::string> remotes;
  std::vector<GitBranchEntry> entries;
  GitOutcome outcome = listRemoteNames(tool, remotes);
  if (outcome) outcome = gitFindParentBranches(tool, gitBranchRefName(branch), remotes, entries);
  if (outcome.failedWith(GitFailureKind::unknownBranch)) {
    return completionBlock(nullptr, {}, gitLocationNotFound(branch, outcome.failure.message));
  }
  if (!outcome) return completionBlock(nullptr, {}, errorFor(outcome, inRepository));
  Branches parents;
  for (const GitBranchEntry& entry : entries) {
    parents.push_back(entry.remote.empty() ? gitLocalBranch(entry.name, entry.hash)
                                           : gitRemoteBranch(entry.name, entry.remote, entry.hash));
  }
  completionBlock(parents.empty() ? nullptr : parents.front(), parents, {});
}

qrb::Result<std::vector<std::string>> GitPlugIn::resolve(
    const GitTool& tool, const QRBSourceControlRepositoryPtr& repository,
    std::span<const QRBSourceControlRevisionLocationPtr> locations) {
  std::vector<std::string> names;
  for (const auto& location : locations) {
    if (qrb::Error refusal = gitRefuseLocation(location)) return refusal;
    names.push_back(gitLocationName(location));
  }
  std::string output;
  GitOutcome outcome = tool.run(gitResolveAllCommand(names), output);
  std::vector<std::string> hashes = gitLines(output);
  if (hashes.size() < names.size()) outcome = gitExplainMissingRevision(tool, names[hashes.size()], outcome);
  if (outcome && hashes.size() > locations.size()) {
    // The last line is the end of the names.
    hashes.resize(locations.size());
    return hashes;
  }
  if (outcome.failedWith(GitFailureKind::unknownRevision) && hashes.size() < locations.size()) {
    return gitLocationNotFound(locations[hashes.size()], outcome.failure.message);
  }
  return errorFor(outcome ? GitOutcome::unreadable("revisions were expected", 0) : outcome, repository);
}

void GitPlugIn::ancestorRevisionInRepository(const QRBSourceControlRepositoryPtr& repository,
                                             const QRBSourceControlBranchPtr& ofBranch,
                                             const QRBSourceControlBranchPtr& otherBranch,
                                             const QRBSourceControlBranchAndTagLocationsPtr&,
                                             Completion<QRBSourceControlRevisionPtr> completionBlock) {
  GitTool tool = lookAt(repository);
  QRBSourceControlRevisionLocationPtr locations[] = {ofBranch, otherBranch};
  auto hashes = resolve(tool, repository, locations);
  if (!hashes) return completionBlock(nullptr, hashes.error());
  std::string hash;
  GitOutcome outcome = tool.run(gitCommonAncestorCommand((*hashes)[0], (*hashes)[1]), hash);
  if (outcome.exitCode == 1 && hash.empty()) {
    outcome.failure.kind = GitFailureKind::noCommonAncestor;
    outcome.failure.message = "The branches “" + ofBranch->name().str() + "” and “" + otherBranch->name().str() +
                              "” have no revision in common.";
  }
  if (!outcome) return completionBlock(nullptr, errorFor(outcome, repository));
  completionBlock(QRBSourceControlRevision::initWithIdentifier(hash), {});
}

void GitPlugIn::addBranch(const QRBSourceControlBranchPtr& branch, const QRBSourceControlBranchPtr& fromBranch,
                          const QRBSourceControlRepositoryPtr& toRepository,
                          const QRBSourceControlBranchAndTagLocationsPtr&,
                          Completion<QRBSourceControlBranchPtr> completionBlock) {
  qrb::Error refusal = gitRefuseLocation(branch);
  if (!refusal && fromBranch) refusal = gitRefuseLocation(fromBranch);
  if (refusal) return completionBlock(nullptr, refusal);
  auto head = QRBSourceControlRevisionLocation::initWithRevision(QRBSourceControlRevision::sharedHeadRevision());
  QRBSourceControlRevisionLocationPtr from = fromBranch ? fromBranch : head;
  if (branch->remoteName()) {
    auto made = addRemoteBranch(branch, from, toRepository);
    return completionBlock(made.valueOr(nullptr), made.error());
  }
  GitTool tool = toolFor(toRepository);
  std::string start = gitLocationName(from);
  GitOutcome outcome =
      gitExplainMissingRevision(tool, start, tool.run(gitAddBranchCommand(branch->name().view(), start)));
  if (outcome.failedWith(GitFailureKind::exists)) {
    return completionBlock(nullptr, gitAlreadyExists(GitThing::branch, branch->name(), outcome.failure.message));
  }
  if (outcome.failedWith(GitFailureKind::unknownRevision)) {
    return completionBlock(nullptr, gitLocationNotFound(from, outcome.failure.message));
  }
  if (!outcome) return completionBlock(nullptr, errorFor(outcome, toRepository));
  QRBSourceControlRevisionLocationPtr made[] = {gitLocalBranch(branch->name().view(), {})};
  auto hashes = resolve(tool, toRepository, made);
  if (!hashes) return completionBlock(nullptr, hashes.error());
  completionBlock(gitLocalBranch(branch->name().view(), hashes->front()), {});
}

void GitPlugIn::removeBranch(const QRBSourceControlBranchPtr& branch,
                             const QRBSourceControlRepositoryPtr& fromRepository,
                             const QRBSourceControlRemoteRepositoryPtr& andRemoteRepository,
                             const QRBSourceControlBranchAndTagLocationsPtr&, Completion<> completionBlock) {
  if (qrb::Error refusal = gitRefuseLocation(branch)) return completionBlock(refusal);
  if (andRemoteRepository) return completionBlock(removeRemoteBranch(branch, fromRepository, andRemoteRepository));
  GitOutcome outcome = toolFor(fromRepository).run(gitRemoveBranchCommand(gitBranchRefName(branch)));
  if (outcome.failedWith(GitFailureKind::unknownBranch)) {
    return completionBlock(gitLocationNotFound(branch->locationWithRevision(nullptr), outcome.failure.message));
  }
  if (outcome.failedWith(GitFailureKind::branchInUse)) {
    return completionBlock(gitBranchInUse(branch->name(), outcome.failure.message));
  }
  completionBlock(errorFor(outcome, fromRepository));
}

void GitPlugIn::remoteBranchFromRepository(const QRBSourceControlRepositoryPtr& repository,
                                           const QRBSourceControlBranchPtr& forBranch,
                                           Completion<QRBSourceControlBranchPtr> completionBlock) {
  if (qrb::Error refusal = gitRefuseLocation(forBranch)) return completionBlock(nullptr, refusal);
  GitTool tool = lookAt(repository);
  std::string output;
  GitOutcome outcome = tool.run(gitUpstreamCommand(gitBranchRefName(forBranch)), output);
  if (!outcome) return completionBlock(nullptr, errorFor(outcome, repository));
  if (output.empty()) {
    return completionBlock(nullptr, gitLocationNotFound(forBranch->locationWithRevision(nullptr), {}));
  }
  auto upstream = gitReadUpstream(output);
  if (!upstream) return completionBlock(nullptr, errorFor(GitOutcome::unreadable("an upstream", 0), repository));
  std::string_view name = gitLocalBranchName(upstream->remoteRef);
  bool isOfRemote = upstream->remote != "." && gitRemoteNameFault(upstream->remote).empty();
  if (!isOfRemote || name.empty() || name == upstream->remoteRef) return completionBlock(nullptr, {});
  std::string hash;
  // A branch that was never fetched, or is gone since, has no revision here.
  if (!upstream->ref.empty() && !tool.run(gitResolveCommand(upstream->ref), hash)) hash.clear();
  completionBlock(gitRemoteBranch(name, upstream->remote, hash), {});
}
