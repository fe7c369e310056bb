#include <nlohmann/json.hpp>

#include "QRBSourceControlError.h"
#include "QRBSourceControlRepository.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlRevisionLocation.h"
#include "SubversionDiffParser.h"
#include "SubversionPlugIn.h"
#include "SubversionRevisions.h"

namespace {

qrb::Error withoutWorkingCopy() {
  return QRBSourceControlError_WorkingCopyNotFound(
      "Changes that are not committed are those of a working copy: name the repository by the address of its folder.");
}

}  // namespace

void SubversionPlugIn::diffRepository(const QRBSourceControlRepositoryPtr& repository,
                                      const QRBSourceControlRevisionLocationPtr& fromLocation,
                                      const QRBSourceControlRevisionLocationPtr& againstLocation,
                                      const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
                                      Completion<qrb::Dictionary> completionBlock) {
  SubversionSession session(hostConnection());
  qrb::Error error = session.open(repository, SubversionPurpose::look);
  const QRBSourceControlRevisionLocationPtr locations[] = {fromLocation, againstLocation};
  SubversionTarget sides[2];
  long revisions[2] = {-1, -1};
  for (std::size_t side = 0; side < 2 && !error; ++side) {
    QRBSourceControlRevisionPtr pin = subversionPinOf(locations[side]);
    bool isUncommitted = pin && pin->isUnversionedRevision();
    if (isUncommitted && session.folder().empty()) error = withoutWorkingCopy();
    if (isUncommitted && !error) {
      sides[side] = {session.folder(), SubversionRevision::working()};
      continue;
    }
    // Before the first revision there is nothing.
    if (!error && pin && pin->isEqual(QRBSourceControlRevision::sharedInitialRevision())) {
      std::string root;
      error = session.root(root);
      sides[side] = {root, SubversionRevision::at(0)};
      continue;
    }
    error = session.locate(locations[side], branchAndTagLocations, sides[side]);
    if (error) break;
    SubversionInfo info;
    SubversionFailure failure = session.client().info(sides[side], info);
    if (failure)
      error = failure.kind == SubversionFailureKind::pathNotFound
                  ? subversionLocationNotFound(locations[side], failure.message)
                  : session.errorFor(failure);
    // What is compared is called by the names of then.
    sides[side] = {info.url, SubversionRevision::at(info.revision)};
    revisions[side] = info.revision;
  }
  if (error) return completionBlock({}, error);
  std::vector<SubversionDifference> differences;
  SubversionDiffParser parser;
  SubversionFailure failure = session.client().differences(sides[0], sides[1], differences);
  if (!failure) {
    failure = session.client().diff(sides[0], sides[1], [&](std::string_view bytes) { parser.feed(bytes); });
  }
  if (failure) return completionBlock({}, session.errorFor(failure));
  parser.finish();
  completionBlock(subversionDiffDictionary(revisions[0], revisions[1], std::move(parser.files()), differences), {});
}
