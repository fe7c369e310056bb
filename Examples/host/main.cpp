// Prints the status of the working copy at a path, whichever system's it is: the least that a host does.
#include <QRBSourceControl/QRBSourceControl.h>

#include <cstdio>
#include <filesystem>
#include <future>

int main(int argc, char** argv) {
  auto root = std::filesystem::absolute(argc > 1 ? argv[1] : ".").lexically_normal();
  for (auto identifier : {QRBSourceControlGitPlugInIdentifier, QRBSourceControlSubversionPlugInIdentifier}) {
    auto system = QRBSourceControlSystem::systemWithIdentifier(identifier);
    if (!system->isUsable() || !exists(root / system->workingCopyFolderIdentifier().str())) continue;
    auto folder = qrb::URL::fileURL(root.string());
    auto repository = QRBSourceControlRepository::initWithURL(folder, system);
    auto workingCopy = QRBSourceControlWorkingCopy::initWithFileURLUnidentifiableRepository(folder, repository);
    std::promise<int> exitStatus;
    workingCopy->filesAndStatusWithRemoteStatus(false, [&](auto statuses, auto /*remote*/, qrb::Error error) {
      if (error) return std::fprintf(stderr, "%s\n", error.localizedDescription().c_str()), exitStatus.set_value(1);
      for (const auto& [path, status] : *statuses) {
        for (std::string_view word : QRBSourceControlStatusWords(status)) std::printf("%s ", std::string(word).c_str());
        std::printf("%s\n", path.str().c_str());
      }
      exitStatus.set_value(0);
    });
    return exitStatus.get_future().get();
  }
  return std::fputs("Nothing that is installed knows a working copy there.\n", stderr), 1;
}
