#pragma once

#include "QRBSourceControlRevisionLocation.h"

/// A revision that a working copy must stay at. Immutable; shared freely between threads.
class QRB_EXPORT QRBSourceControlLockedRevisionLocation final : public QRBSourceControlRevisionLocation {
  QRB_OBJECT;

 public:
  static QRBSourceControlLockedRevisionLocationPtr initWithRevision(QRBSourceControlRevisionPtr revision);
  static QRBSourceControlLockedRevisionLocationPtr initWithDictionary(const qrb::Dictionary& dictionary);
  using QRBSourceControlRevisionLocation::QRBSourceControlRevisionLocation;

  /// The revision is what names this location, so it is always there, whatever the options.
  qrb::Dictionary dictionaryRepresentationWithOptions(std::uint64_t options) const override;
  std::string description() const override;

  static std::shared_ptr<qrb::Object> initWithCoder(qrb::KeyedUnarchiver& coder);

 protected:
  std::shared_ptr<QRBSourceControlRevisionLocation> mutableCopy() const override;
};
