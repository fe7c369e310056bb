#include "QRBSourceControlBlameItem.h"

#include <array>
#include <string>
#include <utility>

#include "KeyedArchiver.h"
#include "KeyedUnarchiver.h"
#include "Localization.h"
#include "QRBSourceControlAuthor.h"
#include "QRBSourceControlLogItem.h"
#include "QRBSourceControlRevision.h"

QRB_DEFINE_OBJECT(QRBSourceControlBlameItem, qrb::Object, "QRBSourceControlBlameItem",
                  &QRBSourceControlBlameItem::initWithCoder);

namespace {

// A coordinate that no line number can be is malformed; converting it would be undefined.
std::uint64_t lineNumber(double coordinate) {
  if (!(coordinate >= 0 && coordinate < 0x1p64)) throw qrb::ArchiveError("a range of lines is out of bounds");
  return static_cast<std::uint64_t>(coordinate);
}

}  // namespace

QRBSourceControlBlameItem::QRBSourceControlBlameItem(QRBSourceControlLineRange lineRange,
                                                     QRBSourceControlLogItemPtr logItem)
    : _lineRange(lineRange), _logItem(std::move(logItem)) {}

QRBSourceControlBlameItemPtr QRBSourceControlBlameItem::initWithLineRange(QRBSourceControlLineRange lineRange,
                                                                          QRBSourceControlLogItemPtr logItem) {
  return std::make_shared<QRBSourceControlBlameItem>(lineRange, std::move(logItem));
}

std::string QRBSourceControlBlameItem::description() const {
  QRBSourceControlLogItemPtr item = logItem();
  QRBSourceControlLineRange range = lineRange();
  qrb::String revision;
  qrb::String author;
  if (item != nullptr && item->revision() != nullptr) revision = item->revision()->description();
  if (item != nullptr && item->author() != nullptr) author = item->author()->displayName();
  return qrb::format("%@:%@ %@ to %@", {revision, author, std::to_string(range.location),
                                        std::to_string(range.location + range.length - 1)});
}

std::size_t QRBSourceControlBlameItem::hash() const {
  // The log item's own hash tells equal items apart, so it has no part here.
  QRBSourceControlLineRange range = lineRange();
  return std::hash<std::uint64_t>()(range.location) * 31 + std::hash<std::uint64_t>()(range.length);
}

bool QRBSourceControlBlameItem::isEqualToSameClass(const qrb::Object& other) const {
  const auto& item = static_cast<const QRBSourceControlBlameItem&>(other);
  return lineRange() == item.lineRange() && areEqual(logItem(), item.logItem());
}

std::shared_ptr<qrb::Object> QRBSourceControlBlameItem::copy() const {
  QRBSourceControlLogItemPtr item = logItem();
  if (item != nullptr) item = std::static_pointer_cast<QRBSourceControlLogItem>(item->copy());
  return std::make_shared<QRBSourceControlBlameItem>(lineRange(), std::move(item));
}

std::shared_ptr<qrb::Object> QRBSourceControlBlameItem::initWithCoder(qrb::KeyedUnarchiver& coder) {
  QRBSourceControlLineRange range;
  if (coder.contains("lineRange")) {
    auto point = coder.decode<std::array<double, 2>>("lineRange");
    range = {lineNumber(point[0]), lineNumber(point[1])};
  }
  return std::make_shared<QRBSourceControlBlameItem>(range, coder.decode<QRBSourceControlLogItemPtr>("logItem"));
}

void QRBSourceControlBlameItem::encodeWithCoder(qrb::KeyedArchiver& coder) const {
  QRBSourceControlLineRange range = lineRange();
  coder.encode("lineRange",
               std::array<double, 2>{static_cast<double>(range.location), static_cast<double>(range.length)});
  coder.encode("logItem", logItem());
}
