#pragma once

#include <functional>
#include <string>

#include <qrb/Date.h>
#include <qrb/Error.h>
#include <qrb/Export.h>
#include <qrb/Object.h>

#include "QRBSourceControlForward.h"

/// One entry of a history: who changed what, when and why.
///
/// Hosts hold hundreds of thousands, so it keeps pointers to what items share (author, working copy, paths) and
/// computes identifier and hash on demand. Read it from any thread; only `loadCompleteLogItemWithCompletionBlock`
/// changes it, on the main thread, so read an item that is being completed there too.
class QRB_EXPORT QRBSourceControlLogItem : public qrb::Object {
  QRB_OBJECT;

 protected:
  struct Key {
    explicit Key() = default;
  };
  struct Content {
    QRBSourceControlAuthorPtr author;
    QRBSourceControlRevisionPtr revision;
    qrb::Date date{};
    qrb::String message;
    QRBSourceControlPathStatusesPtr pathsWithStatus;
    QRBSourceControlWorkingCopyPtr workingCopy;
    QRBSourceControlFileRenamesPtr fileRenames;
    bool complete = false;
  };

 public:
  /// Author, revision and date alone; the rest can be loaded later.
  static QRBSourceControlLogItemPtr initIncompleteLogItemWithAuthor(QRBSourceControlAuthorPtr author,
                                                                    QRBSourceControlRevisionPtr revision,
                                                                    qrb::Date date,
                                                                    QRBSourceControlWorkingCopyPtr workingCopy);
  /// Complete items; paths and renames may be null, which says that none were loaded.
  static QRBSourceControlLogItemPtr initWithAuthor(QRBSourceControlAuthorPtr author,
                                                   QRBSourceControlRevisionPtr revision, qrb::Date date,
                                                   qrb::String message, QRBSourceControlWorkingCopyPtr workingCopy);
  static QRBSourceControlLogItemPtr initWithAuthor(QRBSourceControlAuthorPtr author,
                                                   QRBSourceControlRevisionPtr revision, qrb::Date date,
                                                   qrb::String message, QRBSourceControlPathStatusesPtr pathsWithStatus,
                                                   QRBSourceControlWorkingCopyPtr workingCopy);
  static QRBSourceControlLogItemPtr initWithAuthor(QRBSourceControlAuthorPtr author,
                                                   QRBSourceControlRevisionPtr revision, qrb::Date date,
                                                   qrb::String message, QRBSourceControlPathStatusesPtr pathsWithStatus,
                                                   QRBSourceControlWorkingCopyPtr workingCopy,
                                                   QRBSourceControlFileRenamesPtr fileRenames);
  QRBSourceControlLogItem(Key, Content content) noexcept;

  /// The item that stands for uncommitted changes; its revision is the shared unversioned one.
  static QRBSourceControlLogItemPtr sharedUnversionedLogItem();

  /// Null where none was given, as in the item of uncommitted changes.
  const QRBSourceControlAuthorPtr& author() const noexcept { return _author; }
  /// Null where none was given.
  const QRBSourceControlRevisionPtr& revision() const noexcept { return _revision; }
  /// UTC, to the microsecond; the epoch in the item of uncommitted changes.
  qrb::Date date() const noexcept { return qrb::Date(std::chrono::microseconds(_microseconds)); }
  /// Absent in an incomplete item and in that of uncommitted changes.
  const qrb::String& message() const noexcept { return _message; }
  /// Null where paths were not loaded.
  const QRBSourceControlPathStatusesPtr& pathsWithStatus() const noexcept { return _pathsWithStatus; }
  /// The working copy whose history it is of, kept alive by the item; null where none was given, and then it cannot be
  /// completed.
  const QRBSourceControlWorkingCopyPtr& workingCopy() const noexcept { return _workingCopy; }
  /// Old path to new path; null where none were given.
  const QRBSourceControlFileRenamesPtr& fileRenames() const noexcept { return _fileRenames; }
  /// False when only author, revision and date were loaded.
  bool isComplete() const noexcept { return _complete; }
  /// True only of `sharedUnversionedLogItem`.
  virtual bool isUnversionedLogItem() const noexcept { return false; }

  /// 40 hexadecimal digits, from revision, date and message: the same for equal items of any process.
  std::string identifier() const;
  /// Revision, author, date (UTC) and message on labelled lines, for logs.
  std::string description() const override;
  /// The sum over author, revision, date and message. Mind that the author counts here and not for equality, so a set
  /// of items from several replies is better kept by `identifier`.
  std::size_t hash() const override;
  /// The order in which histories are shown: below 0 when this item comes before `other`. Newer items come first;
  /// 0 only for equal items, and 1 either way round for different items of one date.
  int compareToLogItem(const QRBSourceControlLogItem& other) const;
  /// A plain log item with copies of revision, message and paths; renames are not carried over.
  std::shared_ptr<qrb::Object> copy() const override;

  /// Loads what an incomplete item lacks, by one history request of its working copy, and stores it on the main thread,
  /// where the block is called too. On failure the block gets the error, on the thread of the reply, and the item stays
  /// as it is.
  /// The item is an argument, since knowing its own owners would cost each of them two words.
  static void loadCompleteLogItemWithCompletionBlock(QRBSourceControlLogItemPtr item,
                                                     std::function<void(const qrb::Error& error)> completionBlock);

  /// For archives. A key that is missing leaves its field absent, false or 0; a value of another type throws
  /// ArchiveError.
  static std::shared_ptr<qrb::Object> initWithCoder(qrb::KeyedUnarchiver& coder);
  void encodeWithCoder(qrb::KeyedArchiver& coder) const override;

 protected:
  /// Equal revisions, dates and messages; author and paths are not compared.
  bool isEqualToSameClass(const qrb::Object& other) const override;

 private:
  void completeWith(const QRBSourceControlLogItem& loaded);

  QRBSourceControlAuthorPtr _author;
  QRBSourceControlRevisionPtr _revision;
  // 63 bits of microseconds reach 146,000 years either way; the flag beside them saves 16 bytes an item.
  std::int64_t _microseconds : 63;
  bool _complete : 1;
  qrb::String _message;
  QRBSourceControlPathStatusesPtr _pathsWithStatus;
  QRBSourceControlWorkingCopyPtr _workingCopy;
  QRBSourceControlFileRenamesPtr _fileRenames;
};

namespace qrb::detail {

/// The one log item that stands for uncommitted work.
class QRB_EXPORT QRBSourceControlUnversionedLogItem final : public ::QRBSourceControlLogItem {
  QRB_OBJECT;

 public:
  explicit QRBSourceControlUnversionedLogItem(Key key);

  /// A programming error, since there is one instance only: asserts and answers null.
  static QRBSourceControlLogItemPtr init();

  bool isUnversionedLogItem() const noexcept override { return true; }
  std::shared_ptr<Object> copy() const override;
  static std::shared_ptr<Object> initWithCoder(KeyedUnarchiver& coder);
  void encodeWithCoder(KeyedArchiver& coder) const override;

 protected:
  bool isEqualToSameClass(const Object&) const override { return true; }
};

}  // namespace qrb::detail
