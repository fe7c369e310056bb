#include <filesystem>
#include <unordered_map>

#include "FilePaths.h"
#include "QRBSourceControlBlameItem.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlLogItem.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlRevisionLocation.h"
#include "QRBSourceControlWorkingCopy.h"
#include "SubversionHistoryItems.h"
#include "SubversionPlugIn.h"
#include "SubversionRevisions.h"

namespace {

namespace fs = std::filesystem;

/// Joins lines to runs, and makes each revision's log item once.
class BlameItems {
 public:
  explicit BlameItems(QRBSourceControlWorkingCopyPtr workingCopy) : _workingCopy(std::move(workingCopy)) {}

  void take(const SubversionBlameLine& line) {
    long revision = line.revision.value_or(uncommitted);
    bool goesOn = !_runs.empty() && _runs.back().revision == revision && _runs.back().end == line.line;
    if (goesOn) {
      ++_runs.back().end;
      return;
    }
    _runs.push_back({line.line, line.line + 1, revision});
    if (line.revision) remember(line);
  }

  std::vector<QRBSourceControlBlameItemPtr> items() const {
    std::vector<QRBSourceControlBlameItemPtr> items;
    items.reserve(_runs.size());
    for (const Run& run : _runs) {
      auto known = _logItems.find(run.revision);
      items.push_back(QRBSourceControlBlameItem::initWithLineRange(
          {run.begin, run.end - run.begin},
          known == _logItems.end() ? QRBSourceControlLogItem::sharedUnversionedLogItem() : known->second));
    }
    return items;
  }

 private:
  static constexpr long uncommitted = -1;

  void remember(const SubversionBlameLine& line) {
    QRBSourceControlLogItemPtr& item = _logItems[*line.revision];
    if (item) return;
    item = QRBSourceControlLogItem::initWithAuthor(
        _authors.get(subversionAuthorName(line.author), {}), subversionRevisionValue(*line.revision), line.date,
        qrb::String(subversionShortened(line.message, _allowance)), _workingCopy);
  }

  struct Run {
    std::uint64_t begin;
    std::uint64_t end;
    long revision;
  };
  QRBSourceControlWorkingCopyPtr _workingCopy;
  qrb::TextAllowance _allowance{qrb::listedTextBounds};
  qrb::SharedAuthors _authors;
  std::vector<Run> _runs;
  std::unordered_map<long, QRBSourceControlLogItemPtr> _logItems;
};

/// Absent, unspecified and uncommitted locations mean the file on disk.
bool isOnDisk(const QRBSourceControlRevisionLocationPtr& location) {
  if (!location) return true;
  auto pin = location->revision();
  const QRBSourceControlRevisionLocation& given = *location;
  return pin ? pin->isUnversionedRevision() : typeid(given) == typeid(QRBSourceControlRevisionLocation);
}

/// A file at a location: in a branch, a tag or a path what has its path there; at a bare revision, what the file here
/// was then, whatever it was called.
qrb::Error fileAt(SubversionSession& session, const std::string& path,
                  const QRBSourceControlRevisionLocationPtr& location,
                  const QRBSourceControlWorkingCopyPtr& workingCopy, SubversionTarget& target) {
  const QRBSourceControlRevisionLocation& given = *location;
  if (typeid(given) != typeid(QRBSourceControlRevisionLocation)) {
    if (qrb::Error error = session.locate(location, workingCopy->branchAndTagLocations(), target)) return error;
    std::string relative = path.substr(session.folder().size() + 1);
    target.place = subversionURL(target.place, relative);
    return {};
  }
  SubversionRevision revision;
  if (qrb::Error error = subversionRevision(given.revision(), SubversionRevision::base(), revision)) return error;
  target = {path, {}, revision};
  return {};
}

}  // namespace

void SubversionPlugIn::exportFileFromRevisionLocation(const qrb::String& file,
                                                      const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                                                      const QRBSourceControlRevisionLocationPtr& fromRevisionLocation,
                                                      const qrb::URL& toDirectory,
                                                      Completion<qrb::URL> completionBlock) {
  SubversionSession session(hostConnection());
  auto location =
      fromRevisionLocation
          ? fromRevisionLocation
          : QRBSourceControlRevisionLocation::initWithRevision(QRBSourceControlRevision::sharedBaseRevision());
  std::vector<std::string> paths;
  qrb::Error error = resolve(subversionFolderOf(inWorkingCopy), {file}, paths);
  // The file may go anywhere on this machine, so nothing is gained by a sandbox here.
  if (!error) error = session.open(inWorkingCopy, SubversionPurpose::change);
  SubversionTarget target;
  if (!error) error = fileAt(session, paths.front(), location, inWorkingCopy, target);
  qrb::URL place;
  if (!error) error = exportFile(session, target, file, toDirectory, place);
  completionBlock(error ? qrb::URL() : place, error);
}

void SubversionPlugIn::exportFileForParentOfRevision(const qrb::String& file,
                                                     const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                                                     const QRBSourceControlRevisionPtr& forParentOfRevision,
                                                     Completion<qrb::URL> completionBlock) {
  SubversionSession session(hostConnection());
  std::vector<std::string> paths;
  qrb::Error error = resolve(subversionFolderOf(inWorkingCopy), {file}, paths);
  if (!error) error = session.open(inWorkingCopy, SubversionPurpose::change);
  SubversionRevision revision;
  if (!error) error = subversionRevision(forParentOfRevision, SubversionRevision::base(), revision);
  if (!error && revision.kind != SubversionRevision::Kind::number) {
    SubversionInfo info;
    error = session.errorFor(session.client().info({paths.front(), {}, revision}, info));
    revision = SubversionRevision::at(info.lastChangedRevision);
  }
  if (!error && revision.number <= 0) {
    error = QRBSourceControlError_LocationNotFound(QRBSourceControlErrorCode::revisionNotFound, {},
                                                   "Nothing comes before the first revision.");
  }
  qrb::URL place;
  if (!error) {
    error = exportFile(session, {paths.front(), {}, SubversionRevision::at(revision.number - 1)}, file, {}, place);
  }
  completionBlock(error ? qrb::URL() : place, error);
}

qrb::Error SubversionPlugIn::exportFile(SubversionSession& session, const SubversionTarget& target,
                                        const qrb::String& file, const qrb::URL& toDirectory, qrb::URL& place) const {
  std::string name = fs::path(file.str()).filename().string();
  if (!toDirectory) {
    place = tempFilePathBasedOnFileName(name);
  } else if (toDirectory.isFileURL()) {
    place = qrb::URL::fileURL((fs::path(toDirectory.path().str()) / name).string());
  }
  if (!place) {
    return QRBSourceControlError_InvalidURL(toDirectory, "Subversion", "A folder of this machine is needed.");
  }
  SubversionInfo info;
  SubversionFailure failure = session.client().info(target, info);
  if (!failure && info.kind == SubversionNodeKind::folder) {
    failure = {SubversionFailureKind::pathNotFound, qrb::pathMessage(file.view(), "is a folder")};
    failure.subject = file.str();
  }
  if (!failure) failure = session.client().exportFile(target, place.path().str());
  if (failure && !toDirectory) {
    std::error_code ignored;  // An empty folder for temporary files is all that stays.
    fs::remove(fs::path(place.path().str()).parent_path(), ignored);
  }
  return session.errorFor(failure);
}

void SubversionPlugIn::blameFile(const qrb::String& file, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                                 const QRBSourceControlRevisionLocationPtr& fromRevisionLocation,
                                 Completion<std::vector<QRBSourceControlBlameItemPtr>> completionBlock) {
  SubversionSession session(hostConnection());
  std::vector<std::string> paths;
  qrb::Error error = resolve(subversionFolderOf(inWorkingCopy), {file}, paths);
  if (!error) error = session.open(inWorkingCopy, SubversionPurpose::compare);
  SubversionTarget target;
  if (!error && isOnDisk(fromRevisionLocation)) {
    target = {paths.front(), {}, SubversionRevision::working()};
  } else if (!error) {
    error = fileAt(session, paths.front(), fromRevisionLocation, inWorkingCopy, target);
  }
  BlameItems items(inWorkingCopy);
  if (!error) {
    error =
        session.errorFor(session.client().blame(target, [&](const SubversionBlameLine& line) { items.take(line); }));
  }
  if (error) return completionBlock({}, error);
  completionBlock(items.items(), {});
}

void SubversionPlugIn::historyOfFile(const qrb::String& file, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                                     const QRBSourceControlRevisionLocationPtr& fromRevisionLocation,
                                     const QRBSourceControlRevisionPtr& toRevision, std::uint64_t inclusionType,
                                     std::int64_t maximumLogItems, const qrb::String& searchString,
                                     std::uint64_t searchType, const qrb::String& progressIdentifier,
                                     Completion<LogItems> completionBlock) {
  SubversionSession session(hostConnection());
  std::vector<std::string> paths;
  qrb::Error error = resolve(subversionFolderOf(inWorkingCopy), {file}, paths);
  if (!error) error = session.open(inWorkingCopy, SubversionPurpose::look);
  auto location = fromRevisionLocation ? fromRevisionLocation : QRBSourceControlRevisionLocation::initWithRevision({});
  SubversionTarget target;
  if (!error) error = fileAt(session, paths.front(), location, inWorkingCopy, target);
  LogItems items;
  if (!error) {
    error = history(session, {inclusionType, maximumLogItems, searchString.str(), searchType}, inWorkingCopy, target,
                    toRevision, progressIdentifier, items);
  }
  completionBlock(error ? LogItems() : items, error);
}

void SubversionPlugIn::historyOfWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy,
                                            const QRBSourceControlRevisionPtr& fromRevision,
                                            const QRBSourceControlRevisionPtr& toRevision, std::uint64_t inclusionType,
                                            std::int64_t maximumLogItems, const qrb::String& searchString,
                                            std::uint64_t searchType, const qrb::String& progressIdentifier,
                                            Completion<LogItems> completionBlock) {
  SubversionSession session(hostConnection());
  qrb::Error error = session.open(workingCopy, SubversionPurpose::look);
  SubversionRevision from;
  if (!error) error = subversionRevision(fromRevision, SubversionRevision::base(), from);
  LogItems items;
  if (!error) {
    error = history(session, {inclusionType, maximumLogItems, searchString.str(), searchType}, workingCopy,
                    {session.folder(), {}, from}, toRevision, progressIdentifier, items);
  }
  completionBlock(error ? LogItems() : items, error);
}
