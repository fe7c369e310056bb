// Prints the status of the Git working copy at a path: the least that a host does.
#include <QRBSourceControl/QRBSourceControl.h>

#include <cstdio>
#include <filesystem>
#include <future>

int main(int argc, char** argv) {
  auto git = QRBSourceControlSystem::systemWithIdentifier(QRBSourceControlGitPlugInIdentifier);
  if (!git->isUsable()) return std::fputs("The Git plug-in is not installed.\n", stderr), 1;
  auto folder = qrb::URL::fileURL(std::filesystem::absolute(argc > 1 ? argv[1] : ".").lexically_normal().string());
  auto repository = QRBSourceControlRepository::initWithURL(folder, git);
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
