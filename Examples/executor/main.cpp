// Prints the history of a Git working copy on the main thread, as a program with windows would: what arrives on the
// library's threads is handed to a loop of the program's own, so nothing here needs a lock.
#include <QRBSourceControl/QRBSourceControl.h>

#include <condition_variable>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <mutex>

// Stands for the event loop of a toolkit, of which only "run this later on your thread" is needed.
class Loop {
 public:
  void post(std::function<void()> function) {
    std::lock_guard lock(_mutex);
    _functions.push_back(std::move(function));
    _changed.notify_one();
  }
  void run() {
    while (!_stopped) {
      std::unique_lock lock(_mutex);
      _changed.wait(lock, [this] { return !_functions.empty(); });
      auto function = std::move(_functions.front());
      _functions.pop_front();
      lock.unlock();
      function();
    }
  }
  void stop() { _stopped = true; }

 private:
  std::mutex _mutex;
  std::condition_variable _changed;
  std::deque<std::function<void()>> _functions;
  bool _stopped = false;
};

int main(int argc, char** argv) {
  auto git = QRBSourceControlSystem::systemWithIdentifier(QRBSourceControlGitPlugInIdentifier);
  auto folder = qrb::URL::fileURL(std::filesystem::absolute(argc > 1 ? argv[1] : ".").lexically_normal().string());
  auto repository = QRBSourceControlRepository::initWithURL(folder, git);
  auto workingCopy = QRBSourceControlWorkingCopy::initWithFileURLUnidentifiableRepository(folder, repository);

  Loop loop;
  qrb::Executor mainThread = [&loop](std::function<void()> function) { loop.post(std::move(function)); };
  int exitStatus = 0;
  std::size_t count = 0;
  workingCopy->historyFromRevision(
      nullptr, nullptr, QRBSourceControlHistoryIncludeAll, 0, nullptr, QRBSourceControlHistorySearchDefault,
      qrb::on(mainThread,
              [&](const std::vector<QRBSourceControlLogItemPtr>& items, double /*fraction*/) {
                for (const auto& item : items) std::printf("%s\n", item->message().str().c_str());
                count += items.size();
              }),
      qrb::on(mainThread, [&](const std::vector<QRBSourceControlLogItemPtr>& /*items*/, const qrb::Error& error) {
        if (error) {
          std::fprintf(stderr, "%s\n", error.localizedDescription().c_str());
          exitStatus = 1;
        }
        loop.stop();
      }));
  loop.run();
  std::fprintf(stderr, "%zu entries\n", count);
  return exitStatus;
}
