#include "Requests.h"

#include <tuple>

#include "HostileCase.h"
#include "QRBSourceControl.h"
#include "QRBSourceControlConstants.h"
#include "QRBSourceControlManager.h"

namespace qrb::hostile {
namespace {

using Operation = QRBSourceControlOperationPtr;

const QRBSourceControlManagerPtr& manager() {
  return QRBSourceControlManager::sharedInstance();
}

/// Made by hand, since a campaign does not ask what is installed.
QRBSourceControlSystemPtr git() {
  static const auto system = QRBSourceControlSystem::initWithName("Git", QRBSourceControlGitPlugInIdentifier, "0",
                                                                  ".git", {}, true, true, false, false, false, 7);
  return system;
}

QRBSourceControlRepositoryPtr repositoryIn(const std::string& folder) {
  return QRBSourceControlRepository::initWithURL(qrb::URL::fileURL(folder + "/" + repositoryFolder, true), git());
}

QRBSourceControlWorkingCopyPtr workingCopyIn(const std::string& folder) {
  return QRBSourceControlWorkingCopy::initWithFileURLUnidentifiableRepository(
      qrb::URL::fileURL(folder + "/" + repositoryFolder, true), repositoryIn(folder));
}

/// A completion of any request, for whose values nobody asks.
auto ending(Answered answered) {
  return [answered = std::move(answered)](const auto&... values) {
    answered(std::get<sizeof...(values) - 1>(std::tie(values...)));
  };
}

QRBSourceControlRevisionPtr revision(const std::string& name) {
  return QRBSourceControlRevision::initWithIdentifier(name);
}

QRBSourceControlRevisionLocationPtr at(const QRBSourceControlRevisionPtr& pinned) {
  return QRBSourceControlRevisionLocation::initWithRevision(pinned);
}

QRBSourceControlBranchPtr branch(const char* name) {
  return QRBSourceControlBranch::initWithBranchName(name, false);
}

Operation diff(const std::string& folder, const QRBSourceControlRevisionPtr& from,
               const QRBSourceControlRevisionPtr& against, Answered answered) {
  return manager()->diffRepository(repositoryIn(folder), at(from), at(against), nullptr, ending(std::move(answered)));
}

Operation status(const std::string& folder, bool withRemote, Answered answered) {
  return manager()->filesAndStatusOfWorkingCopy(workingCopyIn(folder), withRemote, ending(std::move(answered)));
}

Operation blame(const std::string& folder, const QRBSourceControlRevisionLocationPtr& location, Answered answered) {
  return manager()->blameFile("file", workingCopyIn(folder), location, ending(std::move(answered)));
}

Operation exportFrom(const std::string& folder, const char* file, const QRBSourceControlRevisionPtr& from,
                     const std::string& name, Answered answered) {
  auto directory = qrb::URL::fileURL(folder + "/" + exportFolder + "/" + name, true);
  return manager()->exportFileFromRevisionLocation(file, workingCopyIn(folder), from ? at(from) : nullptr, directory,
                                                   ending(std::move(answered)));
}

/// The scan answers no error, and asks a kept service before it asks the plug-in.
Operation scan(const std::string& folder, Answered answered) {
  return manager()->scanForWorkingCopiesInFolderPaths({folder + "/" + repositoryFolder}, false, {git()},
                                                      [answered = std::move(answered)](const auto&) { answered({}); });
}

constexpr LookingRequest requests[] = {
    {"status", [](const std::string& folder, Answered done) { return status(folder, false, std::move(done)); }},
    {"diff of the working copy",
     [](const std::string& folder, Answered done) {
       return diff(folder, QRBSourceControlRevision::sharedBaseRevision(),
                   QRBSourceControlRevision::sharedUnversionedRevision(), std::move(done));
     }},
    {"blame", [](const std::string& folder, Answered done) { return blame(folder, nullptr, std::move(done)); }},
    {"status with remote",
     [](const std::string& folder, Answered done) { return status(folder, true, std::move(done)); }},
    {"blame of a revision",
     [](const std::string& folder, Answered done) {
       return blame(folder, at(revision(TemplateRevisions::head())), std::move(done));
     }},
    {"diff of revisions",
     [](const std::string& folder, Answered done) {
       return diff(folder, revision(TemplateRevisions::parent()), revision(TemplateRevisions::head()), std::move(done));
     }},
    {"diff of the working copy with nothing",
     [](const std::string& folder, Answered done) {
       return diff(folder, QRBSourceControlRevision::sharedUnversionedRevision(),
                   QRBSourceControlRevision::sharedInitialRevision(), std::move(done));
     }},
    {"history of a file",
     [](const std::string& folder, Answered done) {
       return manager()->historyOfFile("file", workingCopyIn(folder), nullptr, nullptr, 0, 0, {}, 0, {},
                                       ending(std::move(done)));
     }},
    {"history",
     [](const std::string& folder, Answered done) {
       return manager()->historyOfWorkingCopy(workingCopyIn(folder), nullptr, nullptr, 0, 0, {}, 0, {},
                                              ending(std::move(done)));
     }},
    {"current location",
     [](const std::string& folder, Answered done) {
       return manager()->currentLocationOfWorkingCopy(workingCopyIn(folder), ending(std::move(done)));
     }},
    {"base revision",
     [](const std::string& folder, Answered done) {
       return manager()->baseRevisionOfWorkingCopy(workingCopyIn(folder), ending(std::move(done)));
     }},
    {"identifier",
     [](const std::string& folder, Answered done) {
       return manager()->updateIdentifierOfRepositoryForWorkingCopy(workingCopyIn(folder), ending(std::move(done)));
     }},
    {"head revision",
     [](const std::string& folder, Answered done) {
       return manager()->headRevisionOfRepository(repositoryIn(folder), ending(std::move(done)));
     }},
    {"branches",
     [](const std::string& folder, Answered done) {
       return manager()->listBranchesOfRepository(repositoryIn(folder), nullptr, ending(std::move(done)));
     }},
    {"remote branches",
     [](const std::string& folder, Answered done) {
       return manager()->listRemoteBranchesOfRepository(repositoryIn(folder), nullptr, ending(std::move(done)));
     }},
    {"revision of a location",
     [](const std::string& folder, Answered done) {
       return manager()->revisionOfLocation(branch("side"), repositoryIn(folder), nullptr, ending(std::move(done)));
     }},
    {"parent branches",
     [](const std::string& folder, Answered done) {
       return manager()->parentBranchesOfBranch(branch("side"), repositoryIn(folder), nullptr, ending(std::move(done)));
     }},
    {"ancestor",
     [](const std::string& folder, Answered done) {
       return manager()->ancestorRevisionInRepository(repositoryIn(folder), branch("main"), branch("side"), nullptr,
                                                      ending(std::move(done)));
     }},
    {"followed branch",
     [](const std::string& folder, Answered done) {
       return manager()->remoteBranchFromRepository(repositoryIn(folder), branch("main"), ending(std::move(done)));
     }},
    {"remotes",
     [](const std::string& folder, Answered done) {
       return manager()->listRemoteRepositoriesForRepository(repositoryIn(folder), ending(std::move(done)));
     }},
    {"export",
     [](const std::string& folder, Answered done) {
       return exportFrom(folder, "file", revision(TemplateRevisions::head()), "", std::move(done));
     }},
    {"export of the base",
     [](const std::string& folder, Answered done) {
       return exportFrom(folder, "folder/inner", nullptr, "", std::move(done));
     }},
    {"export of the parent",
     [](const std::string& folder, Answered done) {
       return manager()->exportFileForParentOfRevision("file", workingCopyIn(folder),
                                                       revision(TemplateRevisions::head()), ending(std::move(done)));
     }},
    {"scan", [](const std::string& folder, Answered done) { return scan(folder, std::move(done)); }},
};

}  // namespace

std::span<const LookingRequest> lookingRequests() {
  return requests;
}

}  // namespace qrb::hostile
