// A plug-in whose repositories have the remotes that tests of accounts need.
#include "QRBSourceControlBasicAuthenticationStrategy.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlModelPrivate.h"
#include "QRBSourceControlPlugInMain.h"
#include "QRBSourceControlRemoteRepository.h"

namespace {

class RemotesPlugIn final : public QRBSourceControlPlugInPrimary {
 public:
  // The remote "origin" at a fixed place, as the tool's own settings know it, and "again", the same object.
  void listRemoteRepositoriesForRepository(
      const QRBSourceControlRepositoryPtr& repository,
      Completion<QRBSourceControlRemoteRepositoryPtr, QRBSourceControlRemoteRepositoriesPtr> completionBlock) override {
    auto remote = QRBSourceControlRemoteRepository::initUnsavedWithURL(qrb::URL("https://host/orchard.git"), "listed",
                                                                       repository->sourceControlSystem());
    remote->setTrustedServerFingerprint("seen");
    auto remotes = std::make_shared<const QRBSourceControlRemoteRepositories>(
        QRBSourceControlRemoteRepositories{{"origin", remote}, {"again", remote}});
    completionBlock(remote, remotes, {});
  }

  // Lets in the one who names himself and his password as this says.
  void validateAuthenticationOfRemoteRepository(const QRBSourceControlRemoteRepositoryPtr& repository,
                                                const QRBSourceControlRevisionLocationPtr&,
                                                const QRBSourceControlBranchAndTagLocationsPtr&,
                                                Completion<> completionBlock) override {
    auto expected = QRBSourceControlBasicAuthenticationStrategy::initWithUsername("ann", "correct");
    bool isRight = repository->authenticationStrategy()->isEqual(expected);
    completionBlock(isRight ? qrb::Error() : QRBSourceControlError_AuthenticationCredentialsInvalid("refused"));
  }

  void sourceControlSystem(Answer<QRBSourceControlSystemPtr> completionBlock) override {
    completionBlock(QRBSourceControlSystem::initWithName("Git", "org.qrb.Orlix.sourcecontrol.Git", "1", ".git", {},
                                                         true, true, false, false, false, 7));
  }
};

}  // namespace

int main() {
  return QRBSourceControlRunPlugIn(std::make_shared<RemotesPlugIn>());
}
