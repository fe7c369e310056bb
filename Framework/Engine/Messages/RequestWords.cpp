#include "Localization.h"
#include "QRBSourceControlPlugInProtocol.h"
#include "RequestWordsPrivate.h"

namespace qrb {

namespace {

namespace Protocol = QRBSourceControlPlugInProtocol;

struct Words {
  std::string_view method;
  const char* words;
};

constexpr Words wordsOfRequests[] = {
    {Protocol::keychainNameFromURL.selector, localizable("naming credentials")},
    {Protocol::scanForWorkingCopiesInFolderPaths.selector, localizable("looking for working copies")},
    {Protocol::scanForWorkingCopiesInPotentialWorkingCopies.selector, localizable("looking for working copies")},
    {Protocol::filesAndStatusOfWorkingCopy.selector, localizable("status")},
    {Protocol::addFiles.selector, localizable("adding files")},
    {Protocol::removeFiles.selector, localizable("removing files")},
    {Protocol::copyFiles.selector, localizable("copying files")},
    {Protocol::moveFiles.selector, localizable("moving files")},
    {Protocol::createDirectory.selector, localizable("making folders")},
    {Protocol::discardChangesInFiles.selector, localizable("discarding changes")},
    {Protocol::discardAllChangesInWorkingCopy.selector, localizable("discarding changes")},
    {Protocol::markAsResolvedFiles.selector, localizable("marking conflicts as resolved")},
    {Protocol::commitFiles.selector, localizable("committing")},
    {Protocol::exportFileFromRevisionLocation.selector, localizable("exporting files")},
    {Protocol::exportFileForParentOfRevision.selector, localizable("exporting files")},
    {Protocol::blameFile.selector, localizable("blame")},
    {Protocol::historyOfFile.selector, localizable("the history of a file")},
    {Protocol::mergeBranch.selector, localizable("merging")},
    {Protocol::forceUpdateWorkingCopy.selector, localizable("updating")},
    {Protocol::historyOfWorkingCopy.selector, localizable("history")},
    {Protocol::currentLocationOfWorkingCopy.selector, localizable("telling the current location")},
    {Protocol::switchLocation.selector, localizable("switching")},
    {Protocol::baseRevisionOfWorkingCopy.selector, localizable("telling the base revision")},
    {Protocol::upgradeWorkingCopy.selector, localizable("upgrading working copies")},
    {Protocol::identifierOfRepositoryForWorkingCopy.selector, localizable("identifying repositories")},
    {Protocol::headRevisionOfRepository.selector, localizable("telling the newest revision")},
    {Protocol::revisionOfLocation.selector, localizable("looking revisions up")},
    {Protocol::listSubpathsOfRepository.selector, localizable("browsing repositories")},
    {Protocol::listBranchesOfRepository.selector, localizable("listing branches")},
    {Protocol::listRemoteBranchesOfRepository.selector, localizable("listing remote branches")},
    {Protocol::parentBranchesOfBranch.selector, localizable("finding parent branches")},
    {Protocol::ancestorRevisionInRepository.selector, localizable("finding common ancestors")},
    {Protocol::addBranch.selector, localizable("making branches")},
    {Protocol::removeBranch.selector, localizable("removing branches")},
    {Protocol::diffRepository.selector, localizable("comparing revisions")},
    {Protocol::listRemoteRepositoriesForRepository.selector, localizable("listing remotes")},
    {Protocol::remoteBranchFromRepository.selector, localizable("finding the branch that is followed")},
    {Protocol::addRemoteRepository.selector, localizable("adding remotes")},
    {Protocol::removeRemoteRepositoryNamed.selector, localizable("removing remotes")},
    {Protocol::repositoryURLRootForRepository.selector, localizable("finding the root of a repository")},
    {Protocol::downloadUpdatesFromRemoteRepository.selector, localizable("fetching")},
    {Protocol::uploadCommitsToRemoteRepository.selector, localizable("pushing")},
    {Protocol::automaticallyDetectBranchAndTagLocationsForRepository.selector,
     localizable("finding the layout of a repository")},
    {Protocol::createRepositoryAtFileURL.selector, localizable("making repositories")},
    {Protocol::validateAuthenticationOfRemoteRepository.selector, localizable("testing credentials")},
    {Protocol::createWorkingCopyFromRepository.selector, localizable("making working copies")},
    {Protocol::listTagsOfRepository.selector, localizable("listing tags")},
};

}  // namespace

String wordsForRequest(std::string_view method) {
  for (const Words& each : wordsOfRequests) {
    if (each.method == method) return localized(each.words);
  }
  return {};
}

}  // namespace qrb
