#include <nlohmann/json.hpp>

#include "GitBranchCommands.h"
#include "GitDiffCommand.h"
#include "GitDiffParser.h"
#include "GitDiffValues.h"
#include "GitNames.h"
#include "GitPlugIn.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlRevisionLocation.h"

namespace {

GitDiffSide::Kind kindOf(const QRBSourceControlRevisionLocationPtr& location) {
  const QRBSourceControlRevisionPtr revision = location ? location->revision() : nullptr;
  if (!revision) return GitDiffSide::Kind::Commit;
  if (revision->isUnversionedRevision()) return GitDiffSide::Kind::WorkingCopy;
  const bool isInitial = revision->isEqual(QRBSourceControlRevision::sharedInitialRevision());
  return isInitial ? GitDiffSide::Kind::Nothing : GitDiffSide::Kind::Commit;
}

}  // namespace

void GitPlugIn::diffRepository(const QRBSourceControlRepositoryPtr& repository,
                               const QRBSourceControlRevisionLocationPtr& fromLocation,
                               const QRBSourceControlRevisionLocationPtr& againstLocation,
                               const QRBSourceControlBranchAndTagLocationsPtr&,
                               Completion<qrb::Dictionary> completionBlock) {
  const GitTool tool = lookAt(repository, {.convertsFiles = true});
  GitDiffSide sides[] = {{kindOf(fromLocation), {}}, {kindOf(againstLocation), {}}};
  std::vector<QRBSourceControlRevisionLocationPtr> commits;
  if (sides[0].kind == GitDiffSide::Kind::Commit) commits.push_back(fromLocation);
  if (sides[1].kind == GitDiffSide::Kind::Commit) commits.push_back(againstLocation);
  if (commits.empty()) {
    // Of a repository without commits this is the working copy against nothing, which git compares in no way.
    return completionBlock({}, gitLocationNotFound(againstLocation, "One of the two has to be a revision."));
  }
  std::vector<std::string> hashes;
  if (const qrb::Error error = resolve(tool, repository, commits, hashes)) return completionBlock({}, error);
  if (sides[0].kind == GitDiffSide::Kind::Commit) sides[0].hash = hashes.front();
  if (sides[1].kind == GitDiffSide::Kind::Commit) sides[1].hash = hashes.back();
  GitDiffParser parser;
  if (const auto command = gitDiffCommand(sides[0], sides[1])) {
    GitOutcome outcome = tool.run(*command, [&](std::string_view bytes) { return parser.feed(bytes); });
    if (outcome && (parser.error() || !parser.finish())) {
      outcome = GitOutcome::unreadable(parser.error()->what, parser.error()->offset);
    }
    if (!outcome) return completionBlock({}, errorFor(outcome, repository));
  }
  completionBlock(gitDiffDictionary(sides[0], sides[1], std::move(parser.files())), {});
}
