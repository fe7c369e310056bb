#pragma once

#include <cstdint>

#include <qrb/Dictionary.h>
#include <qrb/Export.h>
#include <qrb/Image.h>
#include <qrb/Object.h>

#include "QRBSourceControlForward.h"

/// Option bits of `dictionaryRepresentationWithOptions` that locations look at.
inline constexpr std::uint64_t QRBSourceControlDictionaryIncludesLocation = 16;
inline constexpr std::uint64_t QRBSourceControlDictionaryIncludesRevision = 32;
inline constexpr std::uint64_t QRBSourceControlDictionaryIncludesBranchAndTagLocations = 64;

inline constexpr const char* QRBSourceControlLocationRevisionKey = "QRBSourceControlLocationRevisionKey";

/// A point in a repository's history that a request acts on. This class itself names no line of history, only, perhaps,
/// a revision; its subclasses name a branch, a tag or a path, which a revision may pin.
///
/// Immutable; shared freely between threads.
class QRB_EXPORT QRBSourceControlRevisionLocation : public qrb::Object {
  QRB_OBJECT;

 protected:
  struct Key {
    explicit Key() = default;
  };

 public:
  /// An unspecified location at a revision, or at none (null).
  static QRBSourceControlRevisionLocationPtr initWithRevision(QRBSourceControlRevisionPtr revision);
  /// Reads what `dictionaryRepresentationWithOptions` wrote; null where what names the location is missing.
  static QRBSourceControlRevisionLocationPtr initWithDictionary(const qrb::Dictionary& dictionary);
  explicit QRBSourceControlRevisionLocation(Key) noexcept {}

  /// The revision that pins the location, or null.
  const QRBSourceControlRevisionPtr& revision() const noexcept { return _revision; }
  /// This location pinned to another revision, or to none (null).
  QRBSourceControlRevisionLocationPtr locationWithRevision(QRBSourceControlRevisionPtr revision) const;

  /// For users; empty when there is nothing to show.
  virtual qrb::String displayName() const;
  /// Whether both name the same place, whatever is known of it besides.
  virtual bool isSimilar(const QRBSourceControlRevisionLocationPtr& other) const { return isEqual(other); }
  /// Plain values for storing: what the option bits ask for.
  virtual qrb::Dictionary dictionaryRepresentationWithOptions(std::uint64_t options) const;
  /// Never null: the one shared picture of all revisions, which the host draws by its name.
  static qrb::ImagePtr defaultImage();

  /// For logs: that it names no line of history, and the revision where there is one.
  std::string description() const override;
  std::size_t hash() const override;
  std::shared_ptr<qrb::Object> copy() const override { return mutableCopy(); }

  /// For archives. A key that is missing leaves its field absent, false or 0; a value of another type throws
  /// ArchiveError.
  static std::shared_ptr<qrb::Object> initWithCoder(qrb::KeyedUnarchiver& coder);
  void encodeWithCoder(qrb::KeyedArchiver& coder) const override;

 protected:
  /// Equal revisions; one without a revision equals nothing.
  bool isEqualToSameClass(const qrb::Object& other) const override;
  /// A copy of the same class, not yet shared with anyone.
  virtual std::shared_ptr<QRBSourceControlRevisionLocation> mutableCopy() const;
  /// For the initialisers of subclasses: takes over the archive's revision, or none.
  void decodeRevision(qrb::KeyedUnarchiver& coder);
  /// Takes over a dictionary's revision; an entry that is missing or no text leaves the revision as it is.
  void readRevision(const qrb::Dictionary& dictionary);
  /// "<word>: <display name>", with the revision where there is one.
  std::string descriptionWithWord(const char* word) const;

 private:
  QRBSourceControlRevisionPtr _revision;
};
