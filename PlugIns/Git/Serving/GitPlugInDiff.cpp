#include <span>

#include "GitBranchCommands.h"
#include "GitDiffCommands.h"
#include "GitDiffParser.h"
#include "GitDiffValues.h"
#include "GitNames.h"
#include "GitPlugIn.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlRevisionLocation.h"

namespace {

GitDiffSide::Kind kindOf(const QRBSourceControlRevisionLocationPtr& location) {
  QRBSourceControlRevisionPtr revision = location ? location->revision() : nullptr;
  if (!revision) return GitDiffSide::Kind::commit;
  if (revision->isUnversionedRevision()) return GitDiffSide::Kind::workingCopy;
  bool isInitial = revision->isEqual(QRBSourceControlRevision::sharedInitialRevision());
  return isInitial ? GitDiffSide::Kind::nothing : GitDiffSide::Kind::commit;
}

/// Before the first commit HEAD and BASE are the state without files. Whether any side was changed to that.
bool standForNothing(const GitTool& tool, std::span<const QRBSourceControlRevisionLocationPtr, 2> locations,
                     std::span<GitDiffSide, 2> sides) {
  bool hasChanged = false;
  for (std::size_t number = 0; number < sides.size(); ++number) {
    GitDiffSide& side = sides[number];
    std::string ref;
    if (side.kind != GitDiffSide::Kind::commit || gitLocationName(locations[number]) != "HEAD") continue;
    if (tool.run(gitRefOfNameCommand("HEAD"), ref)) continue;
    side.kind = GitDiffSide::Kind::nothing;
    hasChanged = true;
  }
  return hasChanged;
}

}  // namespace

void GitPlugIn::diffRepository(const QRBSourceControlRepositoryPtr& repository,
                               const QRBSourceControlRevisionLocationPtr& fromLocation,
                               const QRBSourceControlRevisionLocationPtr& againstLocation,
                               const QRBSourceControlBranchAndTagLocationsPtr&,
                               Completion<qrb::Dictionary> completionBlock) {
  GitTool tool = lookAt(repository, {.convertsFiles = true});
  GitDiffSide sides[] = {{kindOf(fromLocation), {}}, {kindOf(againstLocation), {}}};
  QRBSourceControlRevisionLocationPtr locations[] = {fromLocation, againstLocation};
  auto resolveSides = [&] {
    std::vector<QRBSourceControlRevisionLocationPtr> commits;
    for (std::size_t number = 0; number < 2; ++number) {
      if (sides[number].kind == GitDiffSide::Kind::commit) commits.push_back(locations[number]);
    }
    if (commits.empty()) return qrb::Error();
    auto hashes = resolve(tool, repository, commits);
    if (!hashes) return hashes.error();
    if (sides[0].kind == GitDiffSide::Kind::commit) sides[0].hash = hashes->front();
    if (sides[1].kind == GitDiffSide::Kind::commit) sides[1].hash = hashes->back();
    return qrb::Error();
  };
  qrb::Error error = resolveSides();
  if (error && standForNothing(tool, locations, sides)) error = resolveSides();
  if (error) return completionBlock({}, error);
  bool hasCommit = !sides[0].hash.empty() || !sides[1].hash.empty();
  for (GitDiffSide& side : sides) {
    if (hasCommit || side.kind != GitDiffSide::Kind::nothing) continue;
    GitOutcome outcome = tool.run(gitEmptyTreeCommand(), side.hash);
    if (!outcome) return completionBlock({}, errorFor(outcome, repository));
  }
  GitDiffParser parser;
  if (auto command = gitDiffCommand(sides[0], sides[1])) {
    GitOutcome outcome = tool.run(*command, [&](std::string_view bytes) { return parser.feed(bytes); });
    if (outcome && (parser.error() || !parser.finish())) {
      outcome = GitOutcome::unreadable(parser.error()->what, parser.error()->offset);
    }
    if (!outcome) return completionBlock({}, errorFor(outcome, repository));
  }
  completionBlock(gitDiffDictionary(sides[0], sides[1], std::move(parser.files())), {});
}
