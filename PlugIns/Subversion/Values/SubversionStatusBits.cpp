#include "SubversionStatusBits.h"

#include "QRBSourceControlStatusValues.h"

namespace {

std::uint64_t nodeStatus(const SubversionStatus& status) {
  switch (status.node) {
    case SubversionState::added:
      if (!status.movedFrom.empty()) return QRBSourceControlStatusRenamed;
      return status.isCopied ? QRBSourceControlStatusAdded | QRBSourceControlStatusCopied : QRBSourceControlStatusAdded;
    case SubversionState::deleted:
      return status.movedTo.empty() ? QRBSourceControlStatusDeleted
                                    : QRBSourceControlStatusDeleted | QRBSourceControlStatusMovedAway;
    case SubversionState::replaced:
      return status.isCopied ? QRBSourceControlStatusReplaced | QRBSourceControlStatusCopied
                             : QRBSourceControlStatusReplaced;
    case SubversionState::missing:
      return QRBSourceControlStatusMissing;
    case SubversionState::unversioned:
      return QRBSourceControlStatusUntracked;
    case SubversionState::ignored:
      return QRBSourceControlStatusIgnored;
    case SubversionState::external:
      return QRBSourceControlStatusExternal;
    case SubversionState::obstructed:
      return QRBSourceControlStatusObstructed;
    case SubversionState::incomplete:
      return QRBSourceControlStatusIncomplete;
    default:
      return 0;
  }
}

/// Bits that hold for everything in a folder that has nothing else to tell.
constexpr std::uint64_t holdsForContents = QRBSourceControlStatusAdded | QRBSourceControlStatusRenamed |
                                           QRBSourceControlStatusCopied | QRBSourceControlStatusDeleted |
                                           QRBSourceControlStatusReplaced | QRBSourceControlStatusMissing |
                                           QRBSourceControlStatusUntracked | QRBSourceControlStatusIgnored |
                                           QRBSourceControlStatusExternal | QRBSourceControlStatusObstructed;

}  // namespace

std::uint64_t subversionLocalStatus(const SubversionStatus& status) {
  std::uint64_t bits = nodeStatus(status);
  // What has no base differs from none.
  bool hasBase = (status.node != SubversionState::added && status.node != SubversionState::replaced) || status.isCopied;
  bool differsInText = status.text == SubversionState::conflicted ||
                       (status.text == SubversionState::modified && status.kind != SubversionNodeKind::folder);
  if (differsInText && hasBase) bits |= QRBSourceControlStatusModified;
  bool differs = status.properties == SubversionState::modified || status.properties == SubversionState::conflicted;
  if (differs && hasBase) bits |= QRBSourceControlStatusPropertiesModified;
  if (status.isConflicted || status.node == SubversionState::conflicted) bits |= QRBSourceControlStatusConflicted;
  if (status.isSwitched) bits |= QRBSourceControlStatusSwitched;
  if (status.isFileExternal) bits |= QRBSourceControlStatusExternal;
  if (status.lock) bits |= QRBSourceControlStatusLocked;
  if (status.hasAdministrativeLock) bits |= QRBSourceControlStatusAdministrativeLock;
  if (status.kind == SubversionNodeKind::folder && (bits & holdsForContents) != 0) {
    bits |= QRBSourceControlStatusDirectory;
  }
  return bits;
}

std::uint64_t subversionRemoteStatus(const SubversionStatus& status) {
  std::uint64_t bits = 0;
  switch (status.remoteNode) {
    case SubversionState::added:
      bits = QRBSourceControlStatusRemoteAdded;
      break;
    case SubversionState::deleted:
      bits = QRBSourceControlStatusRemoteDeleted;
      break;
    case SubversionState::replaced:
      bits = QRBSourceControlStatusRemoteReplaced;
      break;
    default:
      if (status.remoteText == SubversionState::modified) bits |= QRBSourceControlStatusRemoteModified;
      if (status.remoteProperties == SubversionState::modified) bits |= QRBSourceControlStatusRemotePropertiesModified;
  }
  if (status.lockElsewhere) bits |= QRBSourceControlStatusRemoteLocked;
  return bits;
}

std::uint64_t subversionConflictStatus(const SubversionConflict& conflict) {
  using Change = SubversionConflict::Change;
  std::uint64_t bits = QRBSourceControlStatusConflicted;
  if (conflict.text) bits |= QRBSourceControlStatusConflictBothModified;
  if (conflict.properties) bits |= QRBSourceControlStatusPropertiesConflicted;
  if (!conflict.tree) return bits;
  bits |= QRBSourceControlStatusTreeConflict;
  if (conflict.local == Change::added && conflict.incoming == Change::added) {
    return bits | QRBSourceControlStatusConflictBothAdded;
  }
  if (conflict.local == Change::deleted && conflict.incoming == Change::deleted) {
    return bits | QRBSourceControlStatusConflictBothDeleted;
  }
  if (conflict.local == Change::deleted) return bits | QRBSourceControlStatusConflictDeletedByUs;
  if (conflict.incoming == Change::deleted) return bits | QRBSourceControlStatusConflictDeletedByThem;
  if (conflict.local == Change::added) return bits | QRBSourceControlStatusConflictAddedByUs;
  if (conflict.incoming == Change::added) return bits | QRBSourceControlStatusConflictAddedByThem;
  return bits;
}

std::uint64_t subversionChangeStatus(const SubversionChange& change, bool wasMoved) {
  std::uint64_t bits = 0;
  switch (change.action) {
    case 'A':
      if (wasMoved) return QRBSourceControlStatusRenamed;
      bits = QRBSourceControlStatusAdded;
      break;
    case 'D':
      return QRBSourceControlStatusDeleted;
    case 'R':
      bits = QRBSourceControlStatusReplaced;
      break;
    default:
      if (change.changesText) bits |= QRBSourceControlStatusModified;
      if (change.changesProperties) bits |= QRBSourceControlStatusPropertiesModified;
      return bits != 0 ? bits : QRBSourceControlStatusModified;
  }
  return change.copiedFrom.empty() ? bits : bits | QRBSourceControlStatusCopied;
}
