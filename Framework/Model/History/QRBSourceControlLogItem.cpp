#include "QRBSourceControlLogItem.h"

#include <chrono>
#include <cstdio>
#include <utility>

#include "Assertion.h"
#include "Digest.h"
#include "KeyedArchiver.h"
#include "KeyedUnarchiver.h"
#include "Localization.h"
#include "QRBSourceControlAuthor.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlSingletonPrivate.h"
#include "QRBSourceControlWorkingCopy.h"

QRB_DEFINE_OBJECT(QRBSourceControlLogItem, qrb::Object, "QRBSourceControlLogItem",
                  &QRBSourceControlLogItem::initWithCoder);

namespace {

constexpr std::string_view kWhiteSpace = " \t\n\r\v\f";

// Most items of a history rename nothing: they all hold this one.
template <class Map>
std::shared_ptr<const Map> sharedIfEmpty(std::shared_ptr<const Map> map) {
  static const auto& empty = *new auto(std::make_shared<const Map>());
  return map != nullptr && map->empty() ? empty : map;
}

template <class T>
qrb::String describe(const std::shared_ptr<T>& object) {
  return object == nullptr ? qrb::String() : qrb::String(object->description());
}

// "1234567890.000000". Whole numbers, since printf's decimal point is the locale's.
std::string secondsSinceReferenceDate(qrb::Date date) {
  using namespace std::chrono;
  constexpr auto reference = sys_days(year(2001) / January / 1);
  std::int64_t microseconds = duration_cast<std::chrono::microseconds>(date - reference).count();
  const char* sign = microseconds < 0 ? "-" : "";
  std::uint64_t magnitude =
      microseconds < 0 ? 0 - static_cast<std::uint64_t>(microseconds) : static_cast<std::uint64_t>(microseconds);
  char text[48];
  std::snprintf(text, sizeof text, "%s%llu.%06llu", sign, static_cast<unsigned long long>(magnitude / 1000000),
                static_cast<unsigned long long>(magnitude % 1000000));
  return text;
}

// "2001-02-03 04:05:06 +0000".
std::string describe(qrb::Date date) {
  using namespace std::chrono;
  auto day = floor<days>(date);
  year_month_day calendar(day);
  hh_mm_ss time(floor<seconds>(date - day));
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02u-%02u %02d:%02d:%02d +0000", static_cast<int>(calendar.year()),
                static_cast<unsigned>(calendar.month()), static_cast<unsigned>(calendar.day()),
                static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
                static_cast<int>(time.seconds().count()));
  return text;
}

// The message as it stands beside the labels of a description.
qrb::String indented(const qrb::String& wholeMessage) {
  // Absent stays absent, which a format shows as such.
  if (!wholeMessage) return {};
  std::string_view message = wholeMessage.view();
  std::size_t first = message.find_first_not_of(kWhiteSpace);
  if (first == std::string_view::npos) return "";
  message = message.substr(first, message.find_last_not_of(kWhiteSpace) - first + 1);
  std::string text;
  for (char c : message) {
    text += c;
    if (c == '\n') text.append(10, ' ');
  }
  return text;
}

}  // namespace

QRBSourceControlLogItem::QRBSourceControlLogItem(Key, Content content) noexcept
    : _author(std::move(content.author)),
      _revision(std::move(content.revision)),
      _microseconds(content.date.time_since_epoch().count()),
      _complete(content.complete),
      _message(std::move(content.message)),
      _pathsWithStatus(std::move(content.pathsWithStatus)),
      _workingCopy(std::move(content.workingCopy)),
      _fileRenames(std::move(content.fileRenames)) {}

QRBSourceControlLogItemPtr QRBSourceControlLogItem::initIncompleteLogItemWithAuthor(
    QRBSourceControlAuthorPtr author, QRBSourceControlRevisionPtr revision, qrb::Date date,
    QRBSourceControlWorkingCopyPtr workingCopy) {
  return std::make_shared<QRBSourceControlLogItem>(Key(), Content{.author = std::move(author),
                                                                  .revision = std::move(revision),
                                                                  .date = date,
                                                                  .message = {},
                                                                  .pathsWithStatus = {},
                                                                  .workingCopy = std::move(workingCopy),
                                                                  .fileRenames = {},
                                                                  .complete = false});
}

QRBSourceControlLogItemPtr QRBSourceControlLogItem::initWithAuthor(QRBSourceControlAuthorPtr author,
                                                                   QRBSourceControlRevisionPtr revision, qrb::Date date,
                                                                   qrb::String message,
                                                                   QRBSourceControlWorkingCopyPtr workingCopy) {
  return initWithAuthor(std::move(author), std::move(revision), date, std::move(message), nullptr,
                        std::move(workingCopy), nullptr);
}

QRBSourceControlLogItemPtr QRBSourceControlLogItem::initWithAuthor(QRBSourceControlAuthorPtr author,
                                                                   QRBSourceControlRevisionPtr revision, qrb::Date date,
                                                                   qrb::String message,
                                                                   QRBSourceControlPathStatusesPtr pathsWithStatus,
                                                                   QRBSourceControlWorkingCopyPtr workingCopy) {
  return initWithAuthor(std::move(author), std::move(revision), date, std::move(message), std::move(pathsWithStatus),
                        std::move(workingCopy), nullptr);
}

QRBSourceControlLogItemPtr QRBSourceControlLogItem::initWithAuthor(QRBSourceControlAuthorPtr author,
                                                                   QRBSourceControlRevisionPtr revision, qrb::Date date,
                                                                   qrb::String message,
                                                                   QRBSourceControlPathStatusesPtr pathsWithStatus,
                                                                   QRBSourceControlWorkingCopyPtr workingCopy,
                                                                   QRBSourceControlFileRenamesPtr fileRenames) {
  return std::make_shared<QRBSourceControlLogItem>(Key(),
                                                   Content{.author = std::move(author),
                                                           .revision = std::move(revision),
                                                           .date = date,
                                                           .message = std::move(message),
                                                           .pathsWithStatus = sharedIfEmpty(std::move(pathsWithStatus)),
                                                           .workingCopy = std::move(workingCopy),
                                                           .fileRenames = sharedIfEmpty(std::move(fileRenames)),
                                                           .complete = true});
}

QRBSourceControlLogItemPtr QRBSourceControlLogItem::sharedUnversionedLogItem() {
  static const QRBSourceControlLogItemPtr& instance =
      *new QRBSourceControlLogItemPtr(std::make_shared<qrb::detail::QRBSourceControlUnversionedLogItem>(Key()));
  return instance;
}

std::string QRBSourceControlLogItem::identifier() const {
  qrb::String revisionIdentifier = _revision == nullptr ? qrb::String() : _revision->identifier();
  return qrb::sha1Hex(qrb::format("%@-%@-%@", {revisionIdentifier, secondsSinceReferenceDate(date()), _message}));
}

std::string QRBSourceControlLogItem::description() const {
  return qrb::format("Revision: %@\nAuthor:   %@\nDate:     %@\n\n          %@",
                     {describe(_revision), describe(_author), describe(date()), indented(_message)});
}

std::size_t QRBSourceControlLogItem::hash() const {
  std::size_t sum = std::hash<std::int64_t>()(date().time_since_epoch().count()) + _message.hash();
  if (_author != nullptr) sum += _author->hash();
  if (_revision != nullptr) sum += _revision->hash();
  return sum;
}

bool QRBSourceControlLogItem::isEqualToSameClass(const qrb::Object& other) const {
  const auto& item = static_cast<const QRBSourceControlLogItem&>(other);
  return date() == item.date() && areEqual(_revision, item._revision) && _message == item._message;
}

int QRBSourceControlLogItem::compareToLogItem(const QRBSourceControlLogItem& other) const {
  if (isEqual(&other)) return 0;
  return other.date() < date() ? -1 : 1;
}

std::shared_ptr<qrb::Object> QRBSourceControlLogItem::copy() const {
  QRBSourceControlRevisionPtr revision;
  if (_revision != nullptr) revision = std::static_pointer_cast<const QRBSourceControlRevision>(_revision->copy());
  return std::make_shared<QRBSourceControlLogItem>(Key(), Content{.author = _author,
                                                                  .revision = std::move(revision),
                                                                  .date = date(),
                                                                  .message = _message,
                                                                  .pathsWithStatus = _pathsWithStatus,
                                                                  .workingCopy = _workingCopy,
                                                                  .fileRenames = {},
                                                                  .complete = _complete});
}

void QRBSourceControlLogItem::completeWith(const QRBSourceControlLogItem& loaded) {
  _microseconds = loaded._microseconds;
  _message = loaded._message;
  _pathsWithStatus = loaded._pathsWithStatus;
  _fileRenames = loaded._fileRenames;
  _complete = true;
}

std::shared_ptr<qrb::Object> QRBSourceControlLogItem::initWithCoder(qrb::KeyedUnarchiver& coder) {
  // Braces fix the order in which the keys are read.
  return std::make_shared<QRBSourceControlLogItem>(
      Key(), Content{.author = coder.decode<QRBSourceControlAuthorPtr>("author"),
                     .revision = coder.decode<QRBSourceControlRevisionPtr>("revision"),
                     .date = coder.decode<qrb::Date>("date"),
                     .message = coder.decode<qrb::String>("message"),
                     .pathsWithStatus = sharedIfEmpty(coder.decode<QRBSourceControlPathStatusesPtr>("pathsWithStatus")),
                     .workingCopy = coder.decode<QRBSourceControlWorkingCopyPtr>("workingCopy"),
                     .fileRenames = sharedIfEmpty(coder.decode<QRBSourceControlFileRenamesPtr>("fileRenames")),
                     .complete = coder.decode<bool>("complete")});
}

void QRBSourceControlLogItem::encodeWithCoder(qrb::KeyedArchiver& coder) const {
  coder.encode("author", _author);
  coder.encode("revision", _revision);
  coder.encode("date", date());
  coder.encode("message", _message);
  coder.encodeSharingKeys("pathsWithStatus", _pathsWithStatus);
  coder.encode("workingCopy", _workingCopy);
  coder.encodeSharingKeys("fileRenames", _fileRenames);
  coder.encode("complete", isComplete());
}

namespace qrb::detail {

QRB_DEFINE_OBJECT(QRBSourceControlUnversionedLogItem, ::QRBSourceControlLogItem, "_QRBSourceControlUnversionedLogItem",
                  &QRBSourceControlUnversionedLogItem::initWithCoder);

QRBSourceControlUnversionedLogItem::QRBSourceControlUnversionedLogItem(Key key)
    : ::QRBSourceControlLogItem(key, Content{.author = {},
                                             .revision = QRBSourceControlRevision::sharedUnversionedRevision(),
                                             .date = {},
                                             .message = {},
                                             .pathsWithStatus = {},
                                             .workingCopy = {},
                                             .fileRenames = {},
                                             .complete = true}) {}

QRBSourceControlLogItemPtr QRBSourceControlUnversionedLogItem::init() {
  assertionFailure("Framework/QRBSourceControlLogItem", __LINE__, kSharedInstanceOnly);
  return nullptr;
}

std::shared_ptr<Object> QRBSourceControlUnversionedLogItem::copy() const {
  return sharedUnversionedLogItem();
}

std::shared_ptr<Object> QRBSourceControlUnversionedLogItem::initWithCoder(KeyedUnarchiver&) {
  return sharedUnversionedLogItem();
}

void QRBSourceControlUnversionedLogItem::encodeWithCoder(KeyedArchiver&) const {}

}  // namespace qrb::detail
