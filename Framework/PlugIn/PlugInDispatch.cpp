#include "PlugInDispatchPrivate.h"

#include "MessageDispatchPrivate.h"
#include "QRBSourceControlModelPrivate.h"
#include "QRBSourceControlPlugInProtocol.h"

namespace qrb {

namespace Protocol = QRBSourceControlPlugInProtocol;

namespace {

using PlugIn = QRBSourceControlPlugInPrimary;

template <const auto& message, auto function>
constexpr auto to = route<PlugIn, message, function>();

constexpr Route<PlugIn> routes[] = {
    to<Protocol::sourceControlSystem, &PlugIn::sourceControlSystem>,
    to<Protocol::keychainNameFromURL, &PlugIn::keychainNameFromURL>,
    to<Protocol::scanForWorkingCopiesInFolderPaths, &PlugIn::scanForWorkingCopiesInFolderPaths>,
    to<Protocol::scanForWorkingCopiesInPotentialWorkingCopies, &PlugIn::scanForWorkingCopiesInPotentialWorkingCopies>,
    to<Protocol::filesAndStatusOfWorkingCopy, &PlugIn::filesAndStatusOfWorkingCopy>,
    to<Protocol::addFiles, &PlugIn::addFiles>,
    to<Protocol::removeFiles, &PlugIn::removeFiles>,
    to<Protocol::copyFiles, &PlugIn::copyFiles>,
    to<Protocol::moveFiles, &PlugIn::moveFiles>,
    to<Protocol::createDirectory, &PlugIn::createDirectory>,
    to<Protocol::discardChangesInFiles, &PlugIn::discardChangesInFiles>,
    to<Protocol::discardAllChangesInWorkingCopy, &PlugIn::discardAllChangesInWorkingCopy>,
    to<Protocol::markAsResolvedFiles, &PlugIn::markAsResolvedFiles>,
    to<Protocol::commitFiles, &PlugIn::commitFiles>,
    to<Protocol::exportFileFromRevisionLocation, &PlugIn::exportFileFromRevisionLocation>,
    to<Protocol::exportFileForParentOfRevision, &PlugIn::exportFileForParentOfRevision>,
    to<Protocol::blameFile, &PlugIn::blameFile>,
    to<Protocol::historyOfFile, &PlugIn::historyOfFile>,
    to<Protocol::mergeBranch, &PlugIn::mergeBranch>,
    to<Protocol::forceUpdateWorkingCopy, &PlugIn::forceUpdateWorkingCopy>,
    to<Protocol::historyOfWorkingCopy, &PlugIn::historyOfWorkingCopy>,
    to<Protocol::currentLocationOfWorkingCopy, &PlugIn::currentLocationOfWorkingCopy>,
    to<Protocol::switchLocation, &PlugIn::switchLocation>,
    to<Protocol::baseRevisionOfWorkingCopy, &PlugIn::baseRevisionOfWorkingCopy>,
    to<Protocol::upgradeWorkingCopy, &PlugIn::upgradeWorkingCopy>,
    to<Protocol::identifierOfRepositoryForWorkingCopy, &PlugIn::identifierOfRepositoryForWorkingCopy>,
    to<Protocol::headRevisionOfRepository, &PlugIn::headRevisionOfRepository>,
    to<Protocol::revisionOfLocation, &PlugIn::revisionOfLocation>,
    to<Protocol::listSubpathsOfRepository, &PlugIn::listSubpathsOfRepository>,
    to<Protocol::listBranchesOfRepository, &PlugIn::listBranchesOfRepository>,
    to<Protocol::listRemoteBranchesOfRepository, &PlugIn::listRemoteBranchesOfRepository>,
    to<Protocol::parentBranchesOfBranch, &PlugIn::parentBranchesOfBranch>,
    to<Protocol::ancestorRevisionInRepository, &PlugIn::ancestorRevisionInRepository>,
    to<Protocol::addBranch, &PlugIn::addBranch>,
    to<Protocol::removeBranch, &PlugIn::removeBranch>,
    to<Protocol::diffRepository, &PlugIn::diffRepository>,
    to<Protocol::listRemoteRepositoriesForRepository, &PlugIn::listRemoteRepositoriesForRepository>,
    to<Protocol::remoteBranchFromRepository, &PlugIn::remoteBranchFromRepository>,
    to<Protocol::addRemoteRepository, &PlugIn::addRemoteRepository>,
    to<Protocol::removeRemoteRepositoryNamed, &PlugIn::removeRemoteRepositoryNamed>,
    to<Protocol::repositoryURLRootForRepository, &PlugIn::repositoryURLRootForRepository>,
    to<Protocol::downloadUpdatesFromRemoteRepository, &PlugIn::downloadUpdatesFromRemoteRepository>,
    to<Protocol::uploadCommitsToRemoteRepository, &PlugIn::uploadCommitsToRemoteRepository>,
    to<Protocol::automaticallyDetectBranchAndTagLocationsForRepository,
       &PlugIn::automaticallyDetectBranchAndTagLocationsForRepository>,
    to<Protocol::createRepositoryAtFileURL, &PlugIn::createRepositoryAtFileURL>,
    to<Protocol::validateAuthenticationOfRemoteRepository, &PlugIn::validateAuthenticationOfRemoteRepository>,
    to<Protocol::createWorkingCopyFromRepository, &PlugIn::createWorkingCopyFromRepository>,
    to<Protocol::listTagsOfRepository, &PlugIn::listTagsOfRepository>,
};

}  // namespace

void dispatchToPlugIn(QRBSourceControlPlugInPrimary& plugIn, const std::shared_ptr<Connection>& connection,
                      const Connection::IncomingCall& call) {
  if (call.method == Protocol::operationsFinished.selector) return plugIn.operationsFinished();
  dispatch(std::span<const Route<PlugIn>>(routes), plugIn, connection, call);
}

}  // namespace qrb
