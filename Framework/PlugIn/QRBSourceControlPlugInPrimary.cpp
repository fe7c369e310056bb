#include "QRBSourceControlPlugInPrimary.h"

#include <unistd.h>
#include <nlohmann/json.hpp>

#include "Assertion.h"
#include "QRBSourceControlPlugInProtocol.h"
#include "SubclassResponsibilityPrivate.h"
#include "UnservedPrivate.h"

namespace {

void subclassResponsibility(int line) {
  qrb::assertionFailure("Framework/QRBSourceControlPlugInPrimary", line, qrb::kSubclassResponsibility);
}

}  // namespace

void QRBSourceControlPlugInPrimary::operationsFinished() {
  ::_exit(0);
}

void QRBSourceControlPlugInPrimary::sourceControlSystem(Answer<QRBSourceControlSystemPtr>) {
  subclassResponsibility(172);
}

void QRBSourceControlPlugInPrimary::keychainNameFromURL(const qrb::URL&,
                                                        Completion<qrb::String, std::uint64_t, qrb::String>) {
  subclassResponsibility(176);
}

void QRBSourceControlPlugInPrimary::scanForWorkingCopiesInFolderPaths(const Files&, bool, Answer<WorkingCopies>) {
  subclassResponsibility(180);
}

void QRBSourceControlPlugInPrimary::scanForWorkingCopiesInPotentialWorkingCopies(const std::vector<qrb::URL>&,
                                                                                 Answer<WorkingCopies>) {
  subclassResponsibility(184);
}

void QRBSourceControlPlugInPrimary::filesAndStatusOfWorkingCopy(
    const QRBSourceControlWorkingCopyPtr&, bool,
    Completion<QRBSourceControlPathStatusesPtr, QRBSourceControlPathStatusesPtr>) {
  subclassResponsibility(188);
}

void QRBSourceControlPlugInPrimary::addFiles(const Files&, const QRBSourceControlWorkingCopyPtr&, Completion<>) {
  subclassResponsibility(192);
}

void QRBSourceControlPlugInPrimary::removeFiles(const Files&, const QRBSourceControlWorkingCopyPtr&, Completion<>) {
  subclassResponsibility(196);
}

void QRBSourceControlPlugInPrimary::copyFiles(const Files&, const Files&, const QRBSourceControlWorkingCopyPtr&,
                                              Completion<>) {
  subclassResponsibility(200);
}

void QRBSourceControlPlugInPrimary::moveFiles(const Files&, const Files&, const QRBSourceControlWorkingCopyPtr&,
                                              Completion<>) {
  subclassResponsibility(204);
}

void QRBSourceControlPlugInPrimary::createDirectory(const qrb::String&, bool, const qrb::Dictionary&,
                                                    const QRBSourceControlWorkingCopyPtr&, Completion<>) {
  subclassResponsibility(208);
}

void QRBSourceControlPlugInPrimary::discardChangesInFiles(const Files&, const QRBSourceControlWorkingCopyPtr&,
                                                          Completion<>) {
  subclassResponsibility(212);
}

void QRBSourceControlPlugInPrimary::discardAllChangesInWorkingCopy(const QRBSourceControlWorkingCopyPtr&,
                                                                   Completion<>) {
  subclassResponsibility(216);
}

void QRBSourceControlPlugInPrimary::markAsResolvedFiles(const Files&, const QRBSourceControlWorkingCopyPtr&,
                                                        Completion<>) {
  subclassResponsibility(220);
}

void QRBSourceControlPlugInPrimary::commitFiles(const Files&, const QRBSourceControlWorkingCopyPtr&, const qrb::String&,
                                                Completion<QRBSourceControlRevisionPtr>) {
  subclassResponsibility(224);
}

void QRBSourceControlPlugInPrimary::exportFileFromRevisionLocation(const qrb::String&,
                                                                   const QRBSourceControlWorkingCopyPtr&,
                                                                   const QRBSourceControlRevisionLocationPtr&,
                                                                   const qrb::URL&, Completion<qrb::URL>) {
  subclassResponsibility(228);
}

void QRBSourceControlPlugInPrimary::exportFileForParentOfRevision(const qrb::String&,
                                                                  const QRBSourceControlWorkingCopyPtr&,
                                                                  const QRBSourceControlRevisionPtr&,
                                                                  Completion<qrb::URL>) {
  subclassResponsibility(232);
}

void QRBSourceControlPlugInPrimary::blameFile(const qrb::String&, const QRBSourceControlWorkingCopyPtr&,
                                              const QRBSourceControlRevisionLocationPtr&,
                                              Completion<std::vector<QRBSourceControlBlameItemPtr>>) {
  subclassResponsibility(236);
}

void QRBSourceControlPlugInPrimary::historyOfFile(const qrb::String&, const QRBSourceControlWorkingCopyPtr&,
                                                  const QRBSourceControlRevisionLocationPtr&,
                                                  const QRBSourceControlRevisionPtr&, std::uint64_t, std::int64_t,
                                                  const qrb::String&, std::uint64_t, const qrb::String&,
                                                  Completion<LogItems>) {
  subclassResponsibility(249);
}

void QRBSourceControlPlugInPrimary::mergeBranch(const QRBSourceControlBranchPtr&, const QRBSourceControlWorkingCopyPtr&,
                                                Completion<>) {
  subclassResponsibility(253);
}

void QRBSourceControlPlugInPrimary::forceUpdateWorkingCopy(const QRBSourceControlWorkingCopyPtr&,
                                                           const QRBSourceControlRemoteRepositoryPtr&, Completion<>) {
  subclassResponsibility(257);
}

void QRBSourceControlPlugInPrimary::historyOfWorkingCopy(const QRBSourceControlWorkingCopyPtr&,
                                                         const QRBSourceControlRevisionPtr&,
                                                         const QRBSourceControlRevisionPtr&, std::uint64_t,
                                                         std::int64_t, const qrb::String&, std::uint64_t,
                                                         const qrb::String&, Completion<LogItems>) {
  subclassResponsibility(269);
}

void QRBSourceControlPlugInPrimary::currentLocationOfWorkingCopy(const QRBSourceControlWorkingCopyPtr&,
                                                                 Completion<QRBSourceControlRevisionLocationPtr>) {
  subclassResponsibility(273);
}

void QRBSourceControlPlugInPrimary::switchLocation(const QRBSourceControlRevisionLocationPtr&,
                                                   const QRBSourceControlWorkingCopyPtr&,
                                                   Completion<QRBSourceControlRevisionLocationPtr>) {
  subclassResponsibility(277);
}

void QRBSourceControlPlugInPrimary::baseRevisionOfWorkingCopy(const QRBSourceControlWorkingCopyPtr&,
                                                              Completion<QRBSourceControlRevisionPtr>) {
  subclassResponsibility(281);
}

void QRBSourceControlPlugInPrimary::upgradeWorkingCopy(const QRBSourceControlWorkingCopyPtr&, const qrb::String&,
                                                       Completion<>) {
  subclassResponsibility(285);
}

void QRBSourceControlPlugInPrimary::identifierOfRepositoryForWorkingCopy(const QRBSourceControlWorkingCopyPtr&,
                                                                         Completion<qrb::String>) {
  subclassResponsibility(289);
}

void QRBSourceControlPlugInPrimary::headRevisionOfRepository(const QRBSourceControlRepositoryPtr&,
                                                             Completion<QRBSourceControlRevisionPtr>) {
  subclassResponsibility(293);
}

void QRBSourceControlPlugInPrimary::revisionOfLocation(const QRBSourceControlRevisionLocationPtr&,
                                                       const QRBSourceControlRepositoryPtr&,
                                                       const QRBSourceControlBranchAndTagLocationsPtr&,
                                                       Completion<QRBSourceControlRevisionPtr>) {
  subclassResponsibility(297);
}

void QRBSourceControlPlugInPrimary::listSubpathsOfRepository(const QRBSourceControlRepositoryPtr&,
                                                             const QRBSourceControlPathLocationPtr&,
                                                             Completion<std::vector<QRBSourceControlPathLocationPtr>>) {
  subclassResponsibility(301);
}

void QRBSourceControlPlugInPrimary::listBranchesOfRepository(const QRBSourceControlRepositoryPtr&,
                                                             const QRBSourceControlBranchAndTagLocationsPtr&,
                                                             Completion<Branches>) {
  subclassResponsibility(305);
}

void QRBSourceControlPlugInPrimary::listRemoteBranchesOfRepository(
    const QRBSourceControlRepositoryPtr&, const QRBSourceControlBranchAndTagLocationsPtr&,
    Completion<Branches, QRBSourceControlRemoteBranchesPtr>) {
  subclassResponsibility(309);
}

void QRBSourceControlPlugInPrimary::parentBranchesOfBranch(const QRBSourceControlBranchPtr&,
                                                           const QRBSourceControlRepositoryPtr&,
                                                           const QRBSourceControlBranchAndTagLocationsPtr&,
                                                           Completion<QRBSourceControlBranchPtr, Branches>) {
  subclassResponsibility(313);
}

void QRBSourceControlPlugInPrimary::ancestorRevisionInRepository(const QRBSourceControlRepositoryPtr&,
                                                                 const QRBSourceControlBranchPtr&,
                                                                 const QRBSourceControlBranchPtr&,
                                                                 const QRBSourceControlBranchAndTagLocationsPtr&,
                                                                 Completion<QRBSourceControlRevisionPtr>) {
  subclassResponsibility(317);
}

void QRBSourceControlPlugInPrimary::addBranch(const QRBSourceControlBranchPtr&, const QRBSourceControlBranchPtr&,
                                              const QRBSourceControlRepositoryPtr&,
                                              const QRBSourceControlBranchAndTagLocationsPtr&,
                                              Completion<QRBSourceControlBranchPtr>) {
  subclassResponsibility(321);
}

void QRBSourceControlPlugInPrimary::removeBranch(const QRBSourceControlBranchPtr&, const QRBSourceControlRepositoryPtr&,
                                                 const QRBSourceControlRemoteRepositoryPtr&,
                                                 const QRBSourceControlBranchAndTagLocationsPtr&, Completion<>) {
  subclassResponsibility(325);
}

void QRBSourceControlPlugInPrimary::diffRepository(const QRBSourceControlRepositoryPtr&,
                                                   const QRBSourceControlRevisionLocationPtr&,
                                                   const QRBSourceControlRevisionLocationPtr&,
                                                   const QRBSourceControlBranchAndTagLocationsPtr&,
                                                   Completion<qrb::Dictionary>) {
  subclassResponsibility(329);
}

void QRBSourceControlPlugInPrimary::listRemoteRepositoriesForRepository(
    const QRBSourceControlRepositoryPtr&,
    Completion<QRBSourceControlRemoteRepositoryPtr, QRBSourceControlRemoteRepositoriesPtr>) {
  subclassResponsibility(333);
}

void QRBSourceControlPlugInPrimary::remoteBranchFromRepository(const QRBSourceControlRepositoryPtr&,
                                                               const QRBSourceControlBranchPtr&,
                                                               Completion<QRBSourceControlBranchPtr>) {
  subclassResponsibility(337);
}

void QRBSourceControlPlugInPrimary::addRemoteRepository(const QRBSourceControlRemoteRepositoryPtr&, const qrb::String&,
                                                        const QRBSourceControlRepositoryPtr&, Completion<>) {
  subclassResponsibility(341);
}

void QRBSourceControlPlugInPrimary::removeRemoteRepositoryNamed(const qrb::String&,
                                                                const QRBSourceControlRepositoryPtr&, Completion<>) {
  subclassResponsibility(345);
}

void QRBSourceControlPlugInPrimary::repositoryURLRootForRepository(
    const QRBSourceControlRemoteRepositoryPtr&, Completion<qrb::URL, QRBSourceControlPathLocationPtr>) {
  subclassResponsibility(349);
}

void QRBSourceControlPlugInPrimary::downloadUpdatesFromRemoteRepository(const QRBSourceControlRemoteRepositoryPtr&,
                                                                        const QRBSourceControlRepositoryPtr&,
                                                                        Completion<>) {
  subclassResponsibility(353);
}

void QRBSourceControlPlugInPrimary::uploadCommitsToRemoteRepository(const QRBSourceControlRemoteRepositoryPtr&,
                                                                    const QRBSourceControlRepositoryPtr&,
                                                                    const QRBSourceControlBranchPtr&, Completion<>) {
  subclassResponsibility(357);
}

void QRBSourceControlPlugInPrimary::automaticallyDetectBranchAndTagLocationsForRepository(
    const QRBSourceControlRepositoryPtr&, const QRBSourceControlPathLocationPtr&,
    Completion<QRBSourceControlRevisionLocationPtr, QRBSourceControlBranchAndTagLocationsPtr>) {
  subclassResponsibility(361);
}

void QRBSourceControlPlugInPrimary::createRepositoryAtFileURL(const qrb::URL&,
                                                              Completion<QRBSourceControlRepositoryPtr>) {
  subclassResponsibility(365);
}

void QRBSourceControlPlugInPrimary::validateAuthenticationOfRemoteRepository(
    const QRBSourceControlRemoteRepositoryPtr&, const QRBSourceControlRevisionLocationPtr&,
    const QRBSourceControlBranchAndTagLocationsPtr&, Completion<>) {
  subclassResponsibility(369);
}

void QRBSourceControlPlugInPrimary::createWorkingCopyFromRepository(const QRBSourceControlRemoteRepositoryPtr&,
                                                                    const QRBSourceControlRevisionLocationPtr&,
                                                                    const QRBSourceControlBranchAndTagLocationsPtr&,
                                                                    const qrb::URL&, const qrb::String&,
                                                                    Completion<QRBSourceControlWorkingCopyPtr>) {
  subclassResponsibility(373);
}

void QRBSourceControlPlugInPrimary::listTagsOfRepository(
    const QRBSourceControlRepositoryPtr&, const QRBSourceControlBranchAndTagLocationsPtr&,
    Completion<std::vector<QRBSourceControlTagPtr>> completionBlock) {
  completionBlock({}, qrb::unservedError(QRBSourceControlPlugInProtocol::listTagsOfRepository.selector));
}
