#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include "QRBSourceControlWorkspaceBlueprint.h"

namespace qrb::detail {

/// A path as working-copy paths are compared: without a trailing slash, in no letter case.
std::string comparablePath(const String& path);

/// The repositories of a blueprint by what others are found like them. Made for one look-up or for many in a row; it is
/// told of what changes meanwhile.
class BlueprintIndex {
 public:
  explicit BlueprintIndex(const QRBSourceControlWorkspaceBlueprint& blueprint);

  bool contains(const QRBSourceControlRemoteRepositoryPtr& repository) const;
  /// The first with the same identifiers, or null.
  QRBSourceControlRemoteRepositoryPtr firstIdentical(const QRBSourceControlRepository& repository) const;
  /// The first with the same identifiers or, unless it is absent, that working-copy path; or null.
  QRBSourceControlRemoteRepositoryPtr firstLike(const QRBSourceControlRepository& repository,
                                                const String& workingCopyPath) const;

  /// Takes over the repository's identifier. Call it on a member of the blueprint only, as the next.
  void setIdentifier(const QRBSourceControlRemoteRepositoryPtr& repository, const String& identifier);
  /// The blueprint has got this path for the repository, for which it had none.
  void addPath(const QRBSourceControlRemoteRepositoryPtr& repository, const String& workingCopyPath);

 private:
  // The places in the blueprint's order under each key.
  using Places = std::unordered_map<std::string, std::set<std::size_t>>;

  std::string identityOf(const QRBSourceControlRepository& repository) const;
  static std::size_t firstPlace(const Places& places, const std::string& key);
  QRBSourceControlRemoteRepositoryPtr at(std::size_t place) const;

  const QRBSourceControlWorkspaceBlueprint::RemoteRepositories& _repositories;
  const bool _usesSecondaryIdentifiers;
  std::unordered_map<const QRBSourceControlRepository*, std::size_t> _places;
  Places _byIdentity;
  Places _byPath;
};

}  // namespace qrb::detail
