// A plug-in whose repositories have the remotes that tests of accounts need.
#include "QRBSourceControlModelPrivate.h"
#include "QRBSourceControlPathLocation.h"
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

  // A repository begins at its server, and what its URL named besides is a path in it.
  void repositoryURLRootForRepository(const QRBSourceControlRemoteRepositoryPtr& repository,
                                      Completion<qrb::URL, QRBSourceControlPathLocationPtr> completionBlock) override {
    completionBlock(qrb::URL("https://host/orchard.git"),
                    QRBSourceControlPathLocation::initWithRelativePath(repository->URL().lastPathComponent()), {});
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
