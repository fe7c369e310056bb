#pragma once

#include <qrb/Export.h>
#include <qrb/Image.h>
#include <qrb/Object.h>

#include "QRBSourceControlForward.h"

/// One revision of a repository: the system's own identifier of it, or one of the shared symbolic revisions.
///
/// Immutable; shared freely between threads. Histories hold one per item, so it is kept to two words.
class QRB_EXPORT QRBSourceControlRevision : public qrb::Object {
  QRB_OBJECT;

 protected:
  struct Key {
    explicit Key() = default;
  };

 public:
  /// Never null, and a plain revision even for "HEAD" and its like. An absent identifier stays absent.
  static QRBSourceControlRevisionPtr initWithIdentifier(qrb::String identifier);
  /// `displayName` is what users see in place of a long identifier; absent: the identifier.
  static QRBSourceControlRevisionPtr initWithIdentifier(qrb::String identifier, qrb::String displayName);
  QRBSourceControlRevision(Key, qrb::String identifier, qrb::String displayName) noexcept;

  /// Changes that are not committed yet. It has no identifier.
  static QRBSourceControlRevisionPtr sharedUnversionedRevision();
  /// The newest revision, "HEAD".
  static QRBSourceControlRevisionPtr sharedHeadRevision();
  /// The revision that a working copy is based on, "BASE".
  static QRBSourceControlRevisionPtr sharedBaseRevision();
  /// What was before the first revision, "INITIAL".
  static QRBSourceControlRevisionPtr sharedInitialRevision();

  /// The system's own text; absent in the revision of uncommitted changes.
  const qrb::String& identifier() const noexcept { return _identifier; }
  /// What was given for users, else the identifier.
  const qrb::String& displayName() const noexcept { return _displayName ? _displayName : _identifier; }
  /// True only of `sharedUnversionedRevision`.
  virtual bool isUnversionedRevision() const noexcept { return false; }
  /// Whether the identifier stands for a revision without naming it.
  virtual bool isPlaceholderRevision() const noexcept { return false; }

  /// Revisions have no picture: null.
  static qrb::ImagePtr defaultImage() { return nullptr; }

  /// The identifier, for logs.
  std::string description() const override;
  std::size_t hash() const override;
  /// A plain revision with the same identifier and no display name; a shared revision copies as itself.
  std::shared_ptr<qrb::Object> copy() const override;

  /// For archives. A text that is missing is absent; a value of another type throws ArchiveError.
  static std::shared_ptr<qrb::Object> initWithCoder(qrb::KeyedUnarchiver& coder);
  void encodeWithCoder(qrb::KeyedArchiver& coder) const override;

 protected:
  /// Equal identifiers; display names are not compared.
  bool isEqualToSameClass(const qrb::Object& other) const override;

 private:
  qrb::String _identifier;
  qrb::String _displayName;
};

namespace qrb::detail {

/// The one revision that stands for uncommitted work.
class QRB_EXPORT QRBSourceControlUnversionedRevision final : public ::QRBSourceControlRevision {
  QRB_OBJECT;

 public:
  explicit QRBSourceControlUnversionedRevision(Key key) noexcept;

  /// A programming error, since there is one instance only: asserts and answers null.
  static QRBSourceControlRevisionPtr init();
  /// Never null and never destroyed.
  static const std::shared_ptr<QRBSourceControlUnversionedRevision>& shared();

  bool isUnversionedRevision() const noexcept override { return true; }
  bool isPlaceholderRevision() const noexcept override { return true; }
  std::string description() const override;
  std::shared_ptr<Object> copy() const override;
  /// For archives: reads nothing and gives the shared one.
  static std::shared_ptr<Object> initWithCoder(KeyedUnarchiver& coder);
};

/// The revisions that are named by a word.
class QRB_EXPORT QRBSourceControlConceptualRevision final : public ::QRBSourceControlRevision {
  QRB_OBJECT;

 public:
  QRBSourceControlConceptualRevision(Key key, String identifier) noexcept;

  /// A programming error, since there is one instance for each word only: asserts and answers null.
  static QRBSourceControlRevisionPtr init();
  /// The shared revision for "HEAD", "BASE" or "INITIAL"; null for any other word.
  static std::shared_ptr<QRBSourceControlConceptualRevision> shared(std::string_view identifier);

  bool isPlaceholderRevision() const noexcept override { return true; }
  std::shared_ptr<Object> copy() const override;
  /// For archives: the shared revision of the word; throws ArchiveError for any other word.
  static std::shared_ptr<Object> initWithCoder(KeyedUnarchiver& coder);
};

}  // namespace qrb::detail
