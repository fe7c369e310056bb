// A whole plug-in. Its "system" keeps a list of names in .manifest/files; a working copy is a folder with such a list.
#include <QRBSourceControl/QRBSourceControl.h>

#include <filesystem>
#include <fstream>
#include <set>

namespace {

namespace fs = std::filesystem;
constexpr const char* kIdentifier = "com.example.Manifest";

class ManifestPlugIn final : public QRBSourceControlPlugInPrimary {
 public:
  void sourceControlSystem(Answer<QRBSourceControlSystemPtr> completionBlock) override {
    completionBlock(QRBSourceControlSystem::initWithName(
        "Manifest", kIdentifier, "1.0", /*workingCopyFolderIdentifier=*/".manifest", /*URLHintStrings=*/{},
        /*hasLocalRepository=*/true, /*supportsMultipleRemoteRepositories=*/false, /*supportsPathLocation=*/false,
        /*repositoryURLIncludesSubpath=*/false, /*requiresLocationsForBranchesAndTags=*/false,
        QRBSourceControlAuthenticationTypeAnonymous));
  }

  void filesAndStatusOfWorkingCopy(
      const QRBSourceControlWorkingCopyPtr& workingCopy, bool /*withRemoteStatus*/,
      Completion<QRBSourceControlPathStatusesPtr, QRBSourceControlPathStatusesPtr> completionBlock) override {
    fs::path root = workingCopy->fileURL().path().str();
    std::ifstream manifest(root / ".manifest/files");
    if (!manifest) {
      return completionBlock(nullptr, nullptr, QRBSourceControlError_WorkingCopyNotFound("no .manifest/files"));
    }
    std::set<std::string> listed;
    for (std::string name; std::getline(manifest, name);) listed.insert(name);
    QRBSourceControlPathStatuses statuses;
    for (const std::string& name : listed) {
      if (!fs::exists(root / name)) statuses.set(name, QRBSourceControlStatusMissing);
    }
    for (const auto& entry : fs::directory_iterator(root)) {
      std::string name = entry.path().filename();
      if (name == ".manifest" || listed.contains(name)) continue;
      statuses.set(name, QRBSourceControlStatusUntracked);
    }
    completionBlock(std::make_shared<const QRBSourceControlPathStatuses>(std::move(statuses)), nullptr, {});
  }
};

}  // namespace

int main() {
  return QRBSourceControlRunPlugIn(std::make_shared<ManifestPlugIn>());
}
