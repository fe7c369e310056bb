#pragma once

#include <string_view>

#include "QRBSourceControlRevisionLocation.h"

inline constexpr const char* QRBSourceControlPathIdentifierKey = "QRBSourceControlPathIdentifierKey";

/// A path of a repository. Two are equal when their paths are; an empty path and "/" are both the root.
///
/// Immutable; shared freely between threads.
class QRB_EXPORT QRBSourceControlPathLocation final : public QRBSourceControlRevisionLocation {
  QRB_OBJECT;

 public:
  /// Null for a path that is absent or empty.
  static QRBSourceControlPathLocationPtr initWithRelativePath(qrb::String relativePath);
  /// From what `dictionaryRepresentationWithOptions` wrote; null where the path is missing or no text. An empty path is
  /// taken, as the root.
  static QRBSourceControlPathLocationPtr initWithDictionary(const qrb::Dictionary& dictionary);
  /// The one shared location of the repository's root, "/".
  static QRBSourceControlPathLocationPtr rootPathLocation();
  using QRBSourceControlRevisionLocation::QRBSourceControlRevisionLocation;

  /// Relative to the repository's root; a trailing "/" marks a directory.
  const qrb::String& relativePath() const noexcept { return _relativePath; }
  /// By the text alone: whether it ends in "/". An empty path, though the root, does not.
  bool isDirectory() const noexcept { return _relativePath.view().ends_with('/'); }
  /// Whether the path is empty, absent or "/".
  bool isRootPath() const noexcept { return _relativePath.empty() || _relativePath.view() == "/"; }

  /// The path below this one, at no revision; a trailing "/" of `path` is kept.
  QRBSourceControlPathLocationPtr pathLocationByAppendingPath(std::string_view path) const;
  /// The path above this one; the shared root for a path with one component, and for the root itself.
  QRBSourceControlPathLocationPtr parentPathLocation() const;
  /// What follows the folder's path and one character more, by the text alone; absent when the folder is null or the
  /// path does not begin with the folder's and go on.
  qrb::String nameBelow(const QRBSourceControlPathLocationPtr& folder) const;

  /// The path with percent-encoding removed.
  qrb::String displayName() const override;
  /// The path where the options ask for the location, the revision where they ask for that; the path still encoded.
  qrb::Dictionary dictionaryRepresentationWithOptions(std::uint64_t options) const override;
  /// Never null: the one shared picture of all paths, which the host draws by its name.
  static qrb::ImagePtr defaultImage();

  /// For logs: the kind of location and the decoded path, with the revision where one pins it.
  std::string description() const override { return descriptionWithWord("Path"); }
  std::size_t hash() const override { return isRootPath() ? 0 : _relativePath.hash(); }

  /// For archives. A key that is missing leaves its field absent, false or 0; a value of another type throws
  /// ArchiveError.
  static std::shared_ptr<qrb::Object> initWithCoder(qrb::KeyedUnarchiver& coder);
  void encodeWithCoder(qrb::KeyedArchiver& coder) const override;

 protected:
  bool isEqualToSameClass(const qrb::Object& other) const override;
  std::shared_ptr<QRBSourceControlRevisionLocation> mutableCopy() const override;

 private:
  qrb::String _relativePath;
};
