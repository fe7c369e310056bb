#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <sys/wait.h>

#include <future>

#include "PrivateFolder.h"
#include "QRBSourceControlConstants.h"
#include "QRBSourceControlManager.h"
#include "QRBSourceControlModelPrivate.h"
#include "ServiceDirectories.h"

namespace {

/// A repository of one commit, gone with the object.
class Repository {
 public:
  Repository() {
    if (folder().empty()) return;
    std::string git = "git -C " + folder() + " -c user.name=A -c user.email=a@example.org ";
    _isMade = std::system((git + "init -q && " + git + "commit -q --allow-empty -m First").c_str()) == 0;
  }

  explicit operator bool() const { return _isMade; }
  const std::string& folder() const { return _folder.path(); }

 private:
  qrb::PrivateFolder _folder = qrb::PrivateFolder::temporary("qrb-benchmark-");
  bool _isMade = false;
};

// The whole road: queue, plug-in process, git, reply. The script `compare` sets it against git alone.
void baseRevisionRequest(benchmark::State& state) {
  qrb::ServiceDirectories::registerDirectory(QRB_SERVICES_FOLDER);
  Repository repository;
  if (!repository) return state.SkipWithError("git could not make a repository");
  auto git = QRBSourceControlSystem::systemWithIdentifier(QRBSourceControlGitPlugInIdentifier);
  auto folder = qrb::URL::fileURL(repository.folder());
  auto workingCopy = QRBSourceControlWorkingCopy::initWithFileURLUnidentifiableRepository(
      folder, QRBSourceControlRepository::initWithURL(folder, git));
  for (auto _ : state) {
    std::promise<bool> succeeded;
    QRBSourceControlManager::sharedInstance()->baseRevisionOfWorkingCopy(
        workingCopy, [&](const QRBSourceControlRevisionPtr& revision, const qrb::Error& error) {
          succeeded.set_value(!error && revision != nullptr);
        });
    if (!succeeded.get_future().get()) return state.SkipWithError("the request failed");
  }
  state.SetItemsProcessed(state.iterations());
}

BENCHMARK(baseRevisionRequest)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
