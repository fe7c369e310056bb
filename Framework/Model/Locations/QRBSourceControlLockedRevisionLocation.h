#pragma once

#include "QRBSourceControlRevisionLocation.h"

/// A revision that a working copy must stay at. Immutable; shared freely between threads.
class QRB_EXPORT QRBSourceControlLockedRevisionLocation final : public QRBSourceControlRevisionLocation {
  QRB_OBJECT;

 public:
  /// Never null. A null revision gives a location without one, which equals nothing.
  static QRBSourceControlLockedRevisionLocationPtr initWithRevision(QRBSourceControlRevisionPtr revision);
  /// Never null; where the revision is missing or no text, as from a null revision.
  static QRBSourceControlLockedRevisionLocationPtr initWithDictionary(const qrb::Dictionary& dictionary);
  using QRBSourceControlRevisionLocation::QRBSourceControlRevisionLocation;

  /// The revision is what names this location, so it is always there, whatever the options.
  qrb::Dictionary dictionaryRepresentationWithOptions(std::uint64_t options) const override;
  std::string description() const override;

  /// For archives. A key that is missing leaves its field absent, false or 0; a value of another type throws
  /// ArchiveError.
  static std::shared_ptr<qrb::Object> initWithCoder(qrb::KeyedUnarchiver& coder);

 protected:
  std::shared_ptr<QRBSourceControlRevisionLocation> mutableCopy() const override;
};
