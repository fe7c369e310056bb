// Prints the revision that a Git working copy is at, waiting for each answer as a script would.
#include <QRBSourceControl/QRBSourceControl.h>

#include <chrono>
#include <cstdio>
#include <filesystem>

int main(int argc, char** argv) {
  auto git = QRBSourceControlSystem::systemWithIdentifier(QRBSourceControlGitPlugInIdentifier);
  auto folder = qrb::URL::fileURL(std::filesystem::absolute(argc > 1 ? argv[1] : ".").lexically_normal().string());
  auto repository = QRBSourceControlRepository::initWithURL(folder, git);
  auto workingCopy = QRBSourceControlWorkingCopy::initWithFileURLUnidentifiableRepository(folder, repository);

  auto [completion, future] = qrb::futureCompletion<QRBSourceControlRevisionPtr>();
  auto request = workingCopy->baseRevisionWithCompletionBlock(completion);
  // A future can be waited for with a limit; the answer of a request that was cancelled says so.
  if (future.wait_for(std::chrono::seconds(30)) != std::future_status::ready) request->cancel();
  auto [revision, error] = future.get();
  if (error) return std::fprintf(stderr, "%s\n", error.localizedDescription().c_str()), 1;
  std::printf("%s\n", revision->identifier().str().c_str());
}
