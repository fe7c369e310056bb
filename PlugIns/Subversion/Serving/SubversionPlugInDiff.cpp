
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

bool isUncommitted(const QRBSourceControlRevisionLocationPtr& location) {
  QRBSourceControlRevisionPtr pin = subversionPinOf(location);
  return pin && pin->isUnversionedRevision();
}

bool isInitial(const QRBSourceControlRevisionLocationPtr& location) {
  QRBSourceControlRevisionPtr pin = subversionPinOf(location);
  return pin && pin->isEqual(QRBSourceControlRevision::sharedInitialRevision());
}

/// A location that names a revision and no line.
bool isPlain(const QRBSourceControlRevisionLocationPtr& location) {
  if (!location) return true;
  const QRBSourceControlRevisionLocation& given = *location;
  return typeid(given) == typeid(QRBSourceControlRevisionLocation) && !isInitial(location);
}

/// What is here, or was: the base needs no server.
qrb::Error sideOfWorkingCopy(SubversionSession& session, const QRBSourceControlRevisionLocationPtr& location,
                             SubversionTarget& side, long& revision) {
  SubversionRevision pin;
  if (qrb::Error error = subversionRevision(subversionPinOf(location), SubversionRevision::base(), pin)) return error;
  side = {session.folder(), pin};
  if (pin.kind == SubversionRevision::Kind::number) revision = pin.number;
  if (pin.kind == SubversionRevision::Kind::base) revision = session.info().revision;
  return {};
}

qrb::Error sideOfRepository(SubversionSession& session, const QRBSourceControlRevisionLocationPtr& location,
                            const QRBSourceControlBranchAndTagLocationsPtr& layout, SubversionTarget& side,
                            long& revision) {
  // Before the first revision there is nothing.
  if (isInitial(location)) {
    std::string root;
    qrb::Error error = session.root(root);
    side = {root, SubversionRevision::at(0)};
    return error;
  }
  if (qrb::Error error = session.locate(location, layout, side)) return error;
  SubversionInfo info;
  if (qrb::Error error = session.errorFor(session.client().info(side, info), location)) return error;
  // What is compared is called by the names of then.
  side = {info.url, SubversionRevision::at(info.revision)};
  revision = info.revision;
  return {};
}

}  // namespace

void SubversionPlugIn::diffRepository(const QRBSourceControlRepositoryPtr& repository,
                                      const QRBSourceControlRevisionLocationPtr& fromLocation,
                                      const QRBSourceControlRevisionLocationPtr& againstLocation,
                                      const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations,
                                      Completion<qrb::Dictionary> completionBlock) {
  SubversionSession session(hostConnection());
  qrb::Error error = session.open(repository, SubversionPurpose::compare);
  const QRBSourceControlRevisionLocationPtr locations[] = {fromLocation, againstLocation};
  bool isWithUncommitted = isUncommitted(fromLocation) || isUncommitted(againstLocation);
  if (!error && isWithUncommitted && session.folder().empty()) error = withoutWorkingCopy();
  SubversionTarget sides[2];
  long revisions[2] = {-1, -1};
  for (std::size_t side = 0; side < 2 && !error; ++side) {
    bool isHere = isWithUncommitted && isPlain(locations[side]);
    error = isHere ? sideOfWorkingCopy(session, locations[side], sides[side], revisions[side])
                   : sideOfRepository(session, locations[side], branchAndTagLocations, sides[side], revisions[side]);
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
