#include "Session.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <memory>

#include "AuthenticationRemedy.h"
#include "ErrorPrinting.h"
#include "Log.h"
#include "Orphans.h"
#include "PlugInFolder.h"
#include "ProcessReaper.h"
#include "QRBSourceControlCancellable.h"
#include "QRBSourceControlError.h"
#include "QueueOperation.h"
#include "ServiceDirectories.h"
#include "ServiceProcesses.h"
#include "TerminalSecret.h"
#include "Text.h"

namespace host {

namespace {

// Longer than a plug-in that ignores its dismissal is let run, and its tools after it.
constexpr std::chrono::seconds kLongestDrain{10};
// What is about to end does so in a moment; what does not was meant to stay, as the cache of passwords.
constexpr std::chrono::seconds kLongestOrphan{1};

struct Request {
  QRBSourceControlCancellablePtr token;
  std::shared_ptr<qrb::QueueOperation> operation;
  qrb::ObserverToken observer;
  // Shared with the completion.
  struct Answer {
    qrb::Error error;
    std::atomic<bool> arrived = false;
  };
  std::shared_ptr<Answer> answer = std::make_shared<Answer>();

  // A request answers before it sees its process off.
  bool isOver() const { return answer->arrived && (operation == nullptr || operation->isFinished()); }
};

std::unique_ptr<Request> begin(const Session::Start& start, EventLoop& loop) {
  auto request = std::make_unique<Request>();
  request->token = start([answer = request->answer, &loop](qrb::Error error) {
    answer->error = std::move(error);
    answer->arrived = true;
    loop.wake();
  });
  if (request->token == nullptr && !request->answer->arrived) {
    // The library knows of nothing that could answer.
    request->answer->error = QRBSourceControlError_SystemUnusable();
    request->answer->arrived = true;
  }
  request->operation = std::dynamic_pointer_cast<qrb::QueueOperation>(request->token);
  if (request->operation) request->observer = request->operation->observe([&loop](auto, auto) { loop.wake(); });
  return request;
}

}  // namespace

Session::Session(CommonOptions options, EventLoop& loop, Output& output)
    : _options(std::move(options)),
      _loop(loop),
      _output(output),
      _prompter(std::make_shared<AuthenticationPrompter>([&loop] { loop.wake(); })) {
  QRBSourceControlManager::sharedInstance()->setFailureHandler(_prompter);
  _serviceFailures = QRBSourceControlManager::sharedInstance()->observeServiceFailures(
      [this](const QRBSourceControlServiceFailure& failure) { takeServiceFailure(failure); });
  _output.setHooks([this] { _progress.clear(); }, [this] { _loop.wake(); });
  for (const std::string& directory : _options.plugInDirectories) {
    qrb::ServiceDirectories::registerDirectory(directory);
  }
  PlugInFolder own = userPlugInFolder();
  if (!own.refusal.empty()) printRemark("qrbscm: " + displayText(own.refusal));
  if (!own.path.empty()) qrb::ServiceDirectories::registerDirectory(own.path);
  if (_options.verbose) {
    qrb::setLogHandler([this](std::string_view source, std::string_view text) {
      _progress.clear();
      printRemark("[" + displayText(source) + "] " + displayText(text));
    });
  }
}

// A plug-in that is left out is worth a word; a helper that will not answer ends what waits for it.
void Session::takeServiceFailure(const QRBSourceControlServiceFailure& failure) {
  if (failure.unanswered != nullptr) {
    _lostService.with([&](qrb::Error& error) { error = failure.error; });
    _loop.wake();
    return;
  }
  _progress.clear();
  printRemark("qrbscm: one plug-in is left out:\n  " +
              displayText(failure.error.userInfo(QRBSourceControlUnderlyingErrorString).view()));
}

std::vector<qrb::Error> Session::perform(std::string label, const std::vector<Start>& starts) {
  std::string shown = label;
  _progress.start(std::move(label));
  std::vector<std::unique_ptr<Request>> requests;
  for (const Start& start : starts) requests.push_back(begin(start, _loop));

  bool cancelled = false;
  qrb::Error lostService;
  auto isOver = [](const std::unique_ptr<Request>& request) { return request->isOver(); };
  while (!std::all_of(requests.begin(), requests.end(), isOver)) {
    auto event = _loop.wait(_progress.isShown() ? Progress::interval : std::chrono::milliseconds(-1));
    if (event == EventLoop::Event::readerGone) _output.lose(EPIPE);
    bool stops = event == EventLoop::Event::interrupted || isPointless();
    if (!stops && !cancelled && _prompter->hasQuestions()) {
      _progress.stop();
      stops = !_prompter->answerQuestions();
      _progress.start(shown);
    }
    if (!lostService) {
      lostService = _lostService.with([](qrb::Error& error) { return std::exchange(error, qrb::Error()); });
      stops = stops || lostService;
    }
    if (stops && !cancelled) {
      cancelled = true;
      _output.stopWaiting();
      for (auto& request : requests) {
        // One that has been answered is seeing its process off already.
        if (request->token && !request->answer->arrived) request->token->cancel();
      }
    }
    _progress.tick();
  }
  qrb::drainServiceOutput();
  _progress.stop();

  std::vector<qrb::Error> errors;
  for (auto& request : requests) {
    bool lacksService = lostService && isCancellation(request->answer->error);
    errors.push_back(lacksService ? lostService : request->answer->error);
  }
  return errors;
}

qrb::Error Session::perform(std::string label, const Start& request) {
  return perform(std::move(label), std::vector{request}).front();
}

qrb::Error Session::perform(std::string label, const Start& request,
                            const QRBSourceControlRemoteRepositoryPtr& remote) {
  return perform(std::move(label), [&](Done done) {
    QRBSourceControlCancellablePtr token = request(std::move(done));
    if (token != nullptr) token->setContext(remote);
    return token;
  });
}

std::function<void(const qrb::String& text, double fraction)> Session::progressBlock() {
  return [this](const qrb::String& text, double fraction) { _progress.update(text.str(), fraction); };
}

void Session::showPlugInMessages() {
  if (_options.verbose) return;
  qrb::setLogHandler([this](std::string_view, std::string_view text) {
    std::string shown = displayText(text);
    _progress.clear();
    printRemark(shown);
    _plugInMessages.with([&](auto& messages) { messages.insert(std::move(shown)); });
  });
}

ExitStatus Session::fail(const qrb::Error& error) {
  // What could not be written is the reason then, and finish() reports it.
  if (isPointless()) return ExitStatus::failed;
  _output.flush();
  _progress.stop();
  printError(error, [this](std::string_view line) {
    return _plugInMessages.with([&](const auto& messages) { return messages.contains(line); });
  });
  if (std::string advice = adviceFor(error); !advice.empty() && !canAskUser()) printRemark(advice);
  return ExitStatus::failed;
}

ExitStatus Session::finishTransfer(const qrb::Error& error) {
  if (!error) return ExitStatus::success;
  // The code is the same when the local side is behind.
  if (!isSameFailure(error, QRBSourceControlError_RemoteOperationUpToDate({}))) return fail(error);
  note(displayText(error.localizedDescription()));
  return ExitStatus::success;
}

void Session::note(std::string_view text) {
  _output.flush();
  _progress.clear();
  printRemark(text);
}

ExitStatus Session::finish(ExitStatus status) {
  _output.flush();
  _progress.stop();
  if (_output.error() == EPIPE) {
    // Whoever read a listing has what he wanted.
    if (_endsUnread) status = ExitStatus::success;
  } else if (_output.isLost()) {
    printRemark(std::string("qrbscm: the output could not be written: ") + std::strerror(_output.error()));
    status = ExitStatus::failed;
  }
  qrb::endUnusedServices();
  QRBSourceControlManager::sharedInstance()->endHelperServices();
  // What this program launched by itself, as the check of plug-ins does, has a reaper of its own.
  if (!qrb::awaitEndsOfServices(kLongestDrain) || !qrb::ProcessReaper::shared().drain(kLongestDrain)) {
    printRemark("qrbscm: a plug-in process does not end");
    return ExitStatus::failed;
  }
  awaitOrphans(kLongestOrphan);
  return status;
}

}  // namespace host
