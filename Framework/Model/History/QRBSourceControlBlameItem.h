#pragma once

#include <cstdint>

#include <qrb/AtomicProperty.h>
#include <qrb/Export.h>
#include <qrb/Object.h>

#include "QRBSourceControlForward.h"

/// A run of lines: the number of the first, counted from 1, and how many.
struct QRBSourceControlLineRange {
  std::uint64_t location = 0;
  std::uint64_t length = 0;
  friend bool operator==(const QRBSourceControlLineRange&, const QRBSourceControlLineRange&) = default;
};

/// A run of lines of a file and the log item that they came with. Both can be replaced, each indivisibly, from any
/// thread.
class QRB_EXPORT QRBSourceControlBlameItem final : public qrb::Object {
  QRB_OBJECT;

 public:
  /// Never null; the log item, which may be null, is shared and not copied.
  static QRBSourceControlBlameItemPtr initWithLineRange(QRBSourceControlLineRange lineRange,
                                                        QRBSourceControlLogItemPtr logItem);
  QRBSourceControlBlameItem(QRBSourceControlLineRange lineRange, QRBSourceControlLogItemPtr logItem);

  /// Lines of the file as it was blamed, not as it is on disk now.
  QRBSourceControlLineRange lineRange() const { return _lineRange.get(); }
  void setLineRange(QRBSourceControlLineRange lineRange) { _lineRange.set(lineRange); }
  /// What brought the lines; null where none was given.
  QRBSourceControlLogItemPtr logItem() const { return _logItem.get(); }
  void setLogItem(QRBSourceControlLogItemPtr logItem) { _logItem.set(std::move(logItem)); }

  /// "revision:author's display name first to last".
  std::string description() const override;
  std::size_t hash() const override;
  /// Holds a copy of the log item.
  std::shared_ptr<qrb::Object> copy() const override;

  /// For archives. A range that is missing is 0 and 0; one that no lines can have, or a value of another type, throws
  /// ArchiveError.
  static std::shared_ptr<qrb::Object> initWithCoder(qrb::KeyedUnarchiver& coder);
  void encodeWithCoder(qrb::KeyedArchiver& coder) const override;

 protected:
  /// Equal ranges and equal log items, or none in both.
  bool isEqualToSameClass(const qrb::Object& other) const override;

 private:
  qrb::Atomic<QRBSourceControlLineRange> _lineRange;
  qrb::Atomic<QRBSourceControlLogItemPtr> _logItem;
};
