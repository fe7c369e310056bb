#include "QRBSourceControlRepositoryIdentifier.h"

#include "QRBSourceControlIdentifiers.h"
#include "QRBSourceControlRepository.h"

qrb::String repositoryIdentifier(const QRBSourceControlRepositoryPtr& repository) {
  qrb::String identifier = repository == nullptr ? qrb::String() : repository->identifier();
  return identifier ? mergeIdentifiers(identifier, repository->secondaryIdentifier()) : qrb::String();
}
