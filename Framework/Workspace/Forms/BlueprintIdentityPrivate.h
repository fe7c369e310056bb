#pragma once

#include "QRBSourceControlIdentifiers.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlURL.h"

// How blueprints tell repositories apart. An absent identifier names nothing, so it is equal to no other.
namespace qrb::detail {

inline bool arePresentAndEqual(const String& a, const String& b) {
  return a.has_value() && a == b;
}

/// Whether both are one repository of one server, whoever asks for it and by which protocol.
inline bool isSameOrigin(const URL& a, const URL& b) {
  return arePresentAndEqual(qrbscm_host(a), qrbscm_host(b)) && arePresentAndEqual(qrbscm_path(a), qrbscm_path(b));
}

inline bool isIdentityMatch(const QRBSourceControlRepository& candidate, const QRBSourceControlRepository& repository,
                            bool usesSecondaryIdentifiers) {
  return arePresentAndEqual(candidate.identifier(), repository.identifier()) &&
         (!usesSecondaryIdentifiers ||
          arePresentAndEqual(candidate.secondaryIdentifier(), repository.secondaryIdentifier()));
}

/// A repository's key in files; absent for one without identifier.
inline String serializedIdentifier(const QRBSourceControlRepository& repository, bool usesSecondaryIdentifiers) {
  String identifier = repository.identifier();
  if (!identifier || !usesSecondaryIdentifiers) return identifier;
  return mergeIdentifiers(identifier, repository.secondaryIdentifier());
}

}  // namespace qrb::detail
