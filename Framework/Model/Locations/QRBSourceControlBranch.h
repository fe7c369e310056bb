#pragma once

#include "QRBSourceControlRevisionLocation.h"

inline constexpr const char* QRBSourceControlBranchIdentifierKey = "QRBSourceControlBranchIdentifierKey";
inline constexpr const char* QRBSourceControlBranchOptionsKey = "QRBSourceControlBranchOptionsKey";

/// What is known of a branch besides its name. The numbers are archived and stored.
inline constexpr std::uint64_t QRBSourceControlBranchOptionPrimary = 1;
/// Not created yet.
inline constexpr std::uint64_t QRBSourceControlBranchOptionNew = 2;
inline constexpr std::uint64_t QRBSourceControlBranchOptionRemote = 4;

/// A branch. Two are equal when name, kind and remote are, whatever revision pins them.
///
/// Immutable; shared freely between threads. Each initialiser answers null for a name that is absent or empty.
class QRB_EXPORT QRBSourceControlBranch final : public QRBSourceControlRevisionLocation {
  QRB_OBJECT;

 public:
  /// One that is there already: here or, if `remoteBranch` says so, in a remote that is not named.
  static QRBSourceControlBranchPtr initWithBranchName(qrb::String branchName, bool primaryBranch,
                                                      bool remoteBranch = false);
  /// A remote branch exactly when a remote is named.
  static QRBSourceControlBranchPtr initWithBranchNameRemoteName(qrb::String branchName, bool primaryBranch,
                                                                qrb::String remoteName);
  /// A branch that is still to be made, here or, with a remote, there.
  static QRBSourceControlBranchPtr initWithNewBranchName(qrb::String branchName);
  static QRBSourceControlBranchPtr initWithNewBranchName(qrb::String branchName, qrb::String remoteName);
  /// The branch that lives at a path of a layout: its primary one, or one below its folder of branches. Null for every
  /// other path and where the layout says too little.
  static QRBSourceControlBranchPtr initWithBranchPathLocation(
      const QRBSourceControlPathLocationPtr& pathLocation,
      const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations, bool remoteBranch);
  /// From what `dictionaryRepresentationWithOptions` wrote; null where the name is missing or no text. The remote's
  /// name is not stored, so it is absent.
  static QRBSourceControlBranchPtr initWithDictionary(const qrb::Dictionary& dictionary);
  using QRBSourceControlRevisionLocation::QRBSourceControlRevisionLocation;

  /// The name, twice: both are the same text, never empty in what the named initialisers make.
  const qrb::String& identifier() const noexcept { return _identifier; }
  const qrb::String& name() const noexcept { return _identifier; }
  /// The bits above, set together.
  std::uint64_t options() const noexcept { return _options; }
  /// Absent for a branch that is not remote or whose remote is not known.
  const qrb::String& remoteName() const noexcept { return _remoteName; }
  /// One bit each of `options`, fixed when the object was made: a new branch stays new once it has been made.
  bool isPrimaryBranch() const noexcept { return (_options & QRBSourceControlBranchOptionPrimary) != 0; }
  bool isNewBranch() const noexcept { return (_options & QRBSourceControlBranchOptionNew) != 0; }
  bool isRemoteBranch() const noexcept { return (_options & QRBSourceControlBranchOptionRemote) != 0; }

  /// Where the branch lives in a layout, or null.
  QRBSourceControlPathLocationPtr pathLocationForBranchAndTagLocations(
      const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations) const;

  /// The name itself, without the remote's.
  qrb::String displayName() const override { return name(); }
  /// Whether the other is a branch of the same name, of whatever kind and remote.
  bool isSimilar(const QRBSourceControlRevisionLocationPtr& other) const override;
  /// Name and options where the options given ask for the location, the revision where they ask for that.
  qrb::Dictionary dictionaryRepresentationWithOptions(std::uint64_t options) const override;
  /// Never null: the one shared picture of all branches, which the host draws by its name.
  static qrb::ImagePtr defaultImage();

  /// For logs: the kind of location and the name, with the revision where one pins it.
  std::string description() const override { return descriptionWithWord("Branch"); }
  std::size_t hash() const override;

  /// For archives. A key that is missing leaves its field absent, false or 0; a value of another type throws
  /// ArchiveError.
  static std::shared_ptr<qrb::Object> initWithCoder(qrb::KeyedUnarchiver& coder);
  void encodeWithCoder(qrb::KeyedArchiver& coder) const override;

 protected:
  bool isEqualToSameClass(const qrb::Object& other) const override;
  std::shared_ptr<QRBSourceControlRevisionLocation> mutableCopy() const override;

 private:
  static QRBSourceControlBranchPtr make(qrb::String name, std::uint64_t options, qrb::String remoteName);

  qrb::String _identifier;
  std::uint64_t _options = 0;
  qrb::String _remoteName;
};
