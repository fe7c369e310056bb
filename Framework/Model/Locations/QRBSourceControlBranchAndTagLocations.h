#pragma once

#include <cstdint>

#include <qrb/Dictionary.h>
#include <qrb/Export.h>
#include <qrb/Object.h>

#include "QRBSourceControlForward.h"

inline constexpr const char* QRBSourceControlWorkingCopyRepositoryPrimaryBranchLocationKey =
    "QRBSourceControlWorkingCopyRepositoryPrimaryBranchLocationKey";
inline constexpr const char* QRBSourceControlWorkingCopyRepositoryBranchesLocationKey =
    "QRBSourceControlWorkingCopyRepositoryBranchesLocationKey";
inline constexpr const char* QRBSourceControlWorkingCopyRepositoryTagsLocationKey =
    "QRBSourceControlWorkingCopyRepositoryTagsLocationKey";

/// Where a repository keeps its trunk, its branches and its tags, for systems in which these are folders.
///
/// Immutable; shared freely between threads.
class QRB_EXPORT QRBSourceControlBranchAndTagLocations final : public qrb::Object {
  QRB_OBJECT;

  struct Key {
    explicit Key() = default;
  };

 public:
  /// A layout of which nothing is known: complete for neither branches nor tags.
  static QRBSourceControlBranchAndTagLocationsPtr init();
  /// A path that is absent or empty gives no location.
  static QRBSourceControlBranchAndTagLocationsPtr locationsWithPrimaryBranchPath(qrb::String primaryBranchPath,
                                                                                 qrb::String branchesPath,
                                                                                 qrb::String tagsPath);
  /// "trunk", "branches" and "tags".
  static QRBSourceControlBranchAndTagLocationsPtr locationsWithStandardLayout();
  /// Null for anything but a dictionary; an entry that is missing gives no location.
  static QRBSourceControlBranchAndTagLocationsPtr initWithDictionary(const qrb::Dictionary& dictionary);
  explicit QRBSourceControlBranchAndTagLocations(Key) noexcept {}

  /// Each may be null.
  const QRBSourceControlPathLocationPtr& relativePrimaryBranchLocation() const noexcept { return _primary; }
  const QRBSourceControlPathLocationPtr& relativeBranchesLocation() const noexcept { return _branches; }
  const QRBSourceControlPathLocationPtr& relativeTagsLocation() const noexcept { return _tags; }

  /// Whether the primary branch and the folder of branches are known.
  bool isCompleteForBranches() const;
  /// Whether the folder of tags is known.
  bool isCompleteForTags() const;

  /// Plain values for storing; empty unless the options ask for the layout.
  qrb::Dictionary dictionaryRepresentationWithOptions(std::uint64_t options) const;

  /// The three locations, one a line, for logs.
  std::string description() const override;
  /// Equal only to itself, so a copy is not equal to this one.
  std::shared_ptr<qrb::Object> copy() const override;

  /// For archives. A location that is missing is null; a value of another type throws ArchiveError.
  static std::shared_ptr<qrb::Object> initWithCoder(qrb::KeyedUnarchiver& coder);
  void encodeWithCoder(qrb::KeyedArchiver& coder) const override;

 private:
  QRBSourceControlPathLocationPtr _primary;
  QRBSourceControlPathLocationPtr _branches;
  QRBSourceControlPathLocationPtr _tags;
};
