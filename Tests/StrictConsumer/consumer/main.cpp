// What a host does with the installed library: it takes over log, programming errors and main
// thread, keeps objects as bytes, and completes a log item; and each of its requests. Its arguments are a Git working
// copy with a commit, and a folder that it may fill. Under the name of a plug-in, it is one.
#include <qrb/Version.h>

#include <condition_variable>
#include <cstdio>
#include <deque>
#include <future>
#include <mutex>

#include "consumer.h"

#if QRB_VERSION < QRB_MAKE_VERSION(0, 1, 0) || QRB_VERSION_MAJOR > 0
#error "This program was written for versions from 0.1 on, below 1.0."
#endif

namespace {

int failures = 0;

// Functions for the main thread, which waits for them.
class Loop {
 public:
  void post(std::function<void()> function) {
    std::lock_guard lock(_mutex);
    _functions.push_back(std::move(function));
    _changed.notify_one();
  }
  void runUntil(const bool& done) {
    while (!done) {
      std::unique_lock lock(_mutex);
      _changed.wait(lock, [this] { return !_functions.empty(); });
      auto function = std::move(_functions.front());
      _functions.pop_front();
      lock.unlock();
      function();
    }
  }

 private:
  std::mutex _mutex;
  std::condition_variable _changed;
  std::deque<std::function<void()>> _functions;
};

void takeOverLogAndAssertions() {
  static std::string logged;
  qrb::setLogHandler(
      [](std::string_view source, std::string_view text) { logged.append(source).append(": ").append(text); });
  expect(qrb::hasLogHandler(), "the log has its handler");
  qrb::log("consumer", "what was said");
  expect(logged == "consumer: what was said", "the log handler gets what is logged");

  static std::string reported;
  auto before = qrb::setAssertionHandler([](std::string_view, int, std::string_view message) { reported = message; });
  qrb::assertionFailure(__FILE__, __LINE__, "what was wrong");
  qrb::setAssertionHandler(before);
  expect(reported == "what was wrong", "the assertion handler gets what is reported");
}

void keepAsBytes() {
  auto author = QRBSourceControlAuthor::initWithUsername("jo", "jo@example.com");
  std::string bytes = qrb::KeyedArchiver::archivedData(author);
  auto again = qrb::KeyedUnarchiver::unarchivedObject<QRBSourceControlAuthor>(bytes);
  expect(again != nullptr && again->name() == author->name() && again->emails() == author->emails(),
         "an author comes back from an archive");
  bool refused = false;
  try {
    qrb::KeyedUnarchiver::unarchivedObject<QRBSourceControlBranch>(bytes);
  } catch (const qrb::ArchiveError&) {
    refused = true;
  }
  expect(refused, "an archive of another class is refused");
}

std::size_t countSystems() {
  std::promise<std::size_t> found;
  QRBSourceControlManager::sharedInstance()->sourceControlSystemsWithCompletionBlock(
      [&found](const auto& all) { found.set_value(all ? all->size() : 0); });
  return found.get_future().get();
}

void completeLogItem(const char* path) {
  Loop loop;
  qrb::setMainThreadExecutor([&loop](std::function<void()> function) { loop.post(std::move(function)); });
  auto git = QRBSourceControlSystem::systemWithIdentifier(QRBSourceControlGitPlugInIdentifier);
  auto folder = qrb::URL::fileURL(path);
  auto workingCopy = QRBSourceControlWorkingCopy::initWithFileURLUnidentifiableRepository(
      folder, QRBSourceControlRepository::initWithURL(folder, git));
  auto [completion, answer] = qrb::futureCompletion<QRBSourceControlRevisionPtr>();
  workingCopy->baseRevisionWithCompletionBlock(completion);
  auto [revision, error] = answer.get();
  expect(!error && revision != nullptr, "the working copy has a revision");
  if (revision == nullptr) return;
  auto item = QRBSourceControlLogItem::initIncompleteLogItemWithAuthor(nullptr, revision, qrb::Date(), workingCopy);
  bool done = false;
  QRBSourceControlLogItem::loadCompleteLogItemWithCompletionBlock(item, [&](const qrb::Error& failure) {
    expect(!failure, "the log item is loaded without an error");
    done = true;
  });
  loop.runUntil(done);
  expect(item->message() == "The first commit" || item->message() == "The first commit\n",
         "the log item has its message");
  qrb::setMainThreadExecutor({});
}

}  // namespace

void expect(bool holds, const std::string& what) {
  if (holds) return;
  std::fprintf(stderr, "not so: %s\n", what.c_str());
  ++failures;
}

void expectSuccess(const qrb::Error& error, const std::string& what) {
  expect(!error, what + (error ? ": " + error.description() : ""));
}

int main(int argumentCount, char** argv) {
  if (argumentCount < 3) return servePlugIn();

  takeOverLogAndAssertions();
  keepAsBytes();
  usePlatform();
  const std::string folder = argv[2];
  installPlugIn(folder + "/plug-ins");
  const std::size_t systems = countSystems();
  expect(systems > 0, "there is a source control system");
  useModel(folder);
  completeLogItem(argv[1]);
  useRequests(argv[1], folder);
  usePlugIn(folder + "/plug-ins");
  qrb::endUnusedServices();
  expect(qrb::awaitEndsOfServices(std::chrono::seconds(10)), "every process has ended");
  std::printf("%zu source control systems, library %s\n", systems, QRB_VERSION_STRING);
  return failures == 0 ? 0 : 1;
}
