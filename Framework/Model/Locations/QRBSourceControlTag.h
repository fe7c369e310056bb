#pragma once

#include "QRBSourceControlRevisionLocation.h"

inline constexpr const char* QRBSourceControlTagIdentifierKey = "QRBSourceControlTagIdentifierKey";
inline constexpr const char* QRBSourceControlTagOptionsKey = "QRBSourceControlTagOptionsKey";

/// Not created yet. The number is archived.
inline constexpr std::uint64_t QRBSourceControlTagOptionNew = 2;

/// A tag. Two are equal when their names are.
///
/// Immutable; shared freely between threads. Each initialiser answers null for a name that is absent or empty.
class QRB_EXPORT QRBSourceControlTag final : public QRBSourceControlRevisionLocation {
  QRB_OBJECT;

 public:
  /// One that the repository has already.
  static QRBSourceControlTagPtr initWithTagName(qrb::String tagName);
  /// One that is still to be made.
  static QRBSourceControlTagPtr initWithNewTagName(qrb::String tagName);
  /// The tag that lives at a path below a layout's folder of tags; null for every other path.
  static QRBSourceControlTagPtr initWithTagPathLocation(
      const QRBSourceControlPathLocationPtr& pathLocation,
      const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations);
  /// From what `dictionaryRepresentationWithOptions` wrote; null where the name is missing or no text, even if a
  /// revision is there.
  static QRBSourceControlTagPtr initWithDictionary(const qrb::Dictionary& dictionary);
  using QRBSourceControlRevisionLocation::QRBSourceControlRevisionLocation;

  /// The name, twice: both are the same text, never empty in what the named initialisers make.
  const qrb::String& identifier() const noexcept { return _identifier; }
  const qrb::String& name() const noexcept { return _identifier; }
  /// Bits as above, and after `initWithDictionary` whatever was stored.
  std::uint64_t options() const noexcept { return _options; }
  /// Whether it is still to be made. It stays true once it has been: the object does not change.
  bool isNewTag() const noexcept { return (_options & QRBSourceControlTagOptionNew) != 0; }

  /// Where the tag lives in a layout, or null.
  QRBSourceControlPathLocationPtr pathLocationForBranchAndTagLocations(
      const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations) const;

  /// The name itself.
  qrb::String displayName() const override { return name(); }
  /// The options entry holds the options given here, not the tag's own: readers of stored files expect it so.
  qrb::Dictionary dictionaryRepresentationWithOptions(std::uint64_t options) const override;
  /// Never null: the one shared picture of all tags, which the host draws by its name.
  static qrb::ImagePtr defaultImage();

  /// For logs: the kind of location and the name, with the revision where one pins it.
  std::string description() const override { return descriptionWithWord("Tag"); }
  std::size_t hash() const override { return _identifier.hash(); }

  /// For archives. A key that is missing leaves its field absent, false or 0; a value of another type throws
  /// ArchiveError.
  static std::shared_ptr<qrb::Object> initWithCoder(qrb::KeyedUnarchiver& coder);
  void encodeWithCoder(qrb::KeyedArchiver& coder) const override;

 protected:
  bool isEqualToSameClass(const qrb::Object& other) const override;
  std::shared_ptr<QRBSourceControlRevisionLocation> mutableCopy() const override;

 private:
  static QRBSourceControlTagPtr make(qrb::String name, std::uint64_t options);

  qrb::String _identifier;
  std::uint64_t _options = 0;
};
