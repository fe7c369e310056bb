#include "PlugInCheck.h"

#include <sys/eventfd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <memory>
#include <thread>

#include "Checks.h"
#include "ExampleChecks.h"
#include "FileDescriptor.h"
#include "HostError.h"
#include "PrivateFolder.h"
#include "QRBSourceControlCancellable.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlWorkingCopy.h"
#include "ServiceDirectories.h"
#include "Text.h"

namespace host {

namespace {

using CheckResult = Verdict::Result;

/// The user's wish to stop, for those who wait for descriptors.
class CheckStop final : public QRBSourceControlCancellable {
 public:
  void cancel() override {
    _wasAsked = true;
    qrb::signalEvent(_event);
  }
  bool suppressAuthenticationFailure() const override { return true; }
  void setSuppressAuthenticationFailure(bool) override {}
  std::shared_ptr<void> context() const override { return nullptr; }
  void setContext(const std::shared_ptr<void>&) override {}

  int descriptor() const { return _event.get(); }
  bool wasAsked() const { return _wasAsked; }

 private:
  const qrb::FileDescriptor _event = qrb::makeEvent();
  std::atomic<bool> _wasAsked = false;
};

struct ResultWord {
  const char* word;
  Style style;
};
constexpr std::array<ResultWord, 4> kResultWords = {
    {{"ok", Style::green}, {"wrong", Style::red}, {"not served", Style::dim}, {"skipped", Style::dim}}};
constexpr std::size_t kWordWidth = 12;

const ResultWord& wordOf(CheckResult result) {
  return kResultWords[static_cast<std::size_t>(result)];
}

/// Prints what came of each check as soon as it is known.
class CheckReport {
 public:
  explicit CheckReport(Session& session) : _session(session), _array(session.output()) {}

  void add(const CheckText& check, const Verdict& verdict) {
    ++_counts[static_cast<std::size_t>(verdict.result)];
    _session.json() ? addEntry(check, verdict) : addLine(check, verdict);
    _session.output().flush();
  }

  ExitStatus finish(const std::string& identifier) {
    if (_session.json()) {
      _array.finish();
    } else {
      std::string counts;
      for (std::size_t index = 0; index < _counts.size(); ++index) {
        counts += (index == 0 ? " " : ", ") + std::to_string(_counts[index]) + " " + kResultWords[index].word;
      }
      _session.output().write(displayText(identifier) + ":" + counts + "\n");
    }
    return _counts[static_cast<std::size_t>(CheckResult::wrong)] == 0 ? ExitStatus::success : ExitStatus::failed;
  }
  /// There will be no more.
  void abandon() { _array.finishIfBegun(); }

 private:
  void addEntry(const CheckText& check, const Verdict& verdict) {
    JSONValue entry;
    entry["check"] = check.name;
    entry["result"] = wordOf(verdict.result).word;
    entry["section"] = check.section;
    entry["demand"] = *check.demand == '\0' ? JSONValue() : JSONValue(check.demand);
    entry["detail"] = verdict.detail.empty() ? JSONValue() : JSONValue(verdict.detail);
    _array.add(entry);
  }

  void addLine(const CheckText& check, const Verdict& verdict) {
    Output& output = _session.output();
    const ResultWord& word = wordOf(verdict.result);
    std::string demand = *check.demand == '\0' ? "" : std::string(": ") + check.demand;
    std::string detail = displayText(verdict.detail);
    std::ranges::replace(detail, '\n', ' ');
    output.write(word.style, word.word);
    output.write(std::string(kWordWidth - std::strlen(word.word), ' ') + check.name);
    if (verdict.result == CheckResult::wrong) {
      output.write(": " + detail + " [" + check.section + demand + "]\n");
    } else {
      output.write(demand + (detail.empty() ? "" : " (" + detail + ")") + "\n");
    }
  }

  Session& _session;
  JSONArray _array;
  std::array<std::size_t, 4> _counts{};
};

/// One run over all checks.
class CheckRun {
 public:
  CheckRun(Session& session, const PlugInCheckOptions& options, const std::filesystem::path& emptyFolder)
      : _session(session), _options(options), _report(session) {
    _plugIn.file = options.plugIn;
    _plugIn.identifier = options.plugIn.filename().native();
    _plugIn.setting = {options.plugIn.native(), emptyFolder.native(), options.limit, _stop->descriptor()};
  }

  ExitStatus run() {
    bool isDone = runRaw(lifeChecks()) && runRaw(mannersChecks()) && runProbes() && runRaw(argumentChecks()) &&
                  runOnWorkingCopy() && runOnAddress();
    if (isDone) return _report.finish(_plugIn.identifier);
    _report.abandon();
    return ExitStatus::failed;
  }

 private:
  // False where the user wants to stop.
  bool aside(const CheckText& check, const std::function<Verdict()>& work) {
    Verdict verdict;
    std::thread thread;
    qrb::Error error = _session.perform("Checking the plug-in", [&](Session::Done done) {
      thread = std::thread([&verdict, &work, done, stop = _stop] {
        verdict = work();
        done(stop->wasAsked() ? QRBSourceControlError_Canceled() : qrb::Error());
      });
      return _stop;
    });
    thread.join();
    if (error) return false;
    _report.add(check, verdict);
    return true;
  }

  bool runRaw(std::span<const RawCheck> checks) {
    for (const RawCheck& check : checks) {
      if (!aside(check, [&] { return check.run(_plugIn); })) return false;
    }
    return true;
  }

  bool runProbes() {
    for (const RequestProbe& request : requestProbes()) {
      std::string method(request.method);
      CheckText check{method.c_str(), kRequestsSection, ""};
      if (!aside(check, [&] { return probe(_plugIn, request); })) return false;
    }
    return true;
  }

  bool runExamples(PlugInAtWork& work, std::span<const ExampleCheck> checks, bool needsWorkingCopy) {
    for (const ExampleCheck& check : checks) {
      Verdict verdict = Verdict::skipped("There is no working copy to look at.");
      bool isFirst = &check == &checks.front();
      if (isFirst || !needsWorkingCopy || work.workingCopy) verdict = check.run(work);
      if (work.isStopped) return false;
      _report.add(check, verdict);
    }
    return true;
  }

  bool runOnWorkingCopy() {
    if (_options.workingCopy.empty() || _plugIn.asked().system == nullptr) return true;
    PlugInAtWork work{_session, _plugIn, _options.limit, _options.workingCopy, {}};
    if (!runExamples(work, workingCopyChecks(), true)) return false;
    return work.workingCopy == nullptr ||
           aside(callbacksCheck, [&] { return checkCallbacks(_plugIn, work.workingCopy); });
  }

  bool runOnAddress() {
    if (_options.url.empty() || _plugIn.asked().system == nullptr) return true;
    PlugInAtWork work{_session, _plugIn, _options.limit, {}, _options.url};
    return runExamples(work, addressChecks(), false);
  }

  Session& _session;
  const PlugInCheckOptions& _options;
  const std::shared_ptr<CheckStop> _stop = std::make_shared<CheckStop>();
  CheckReport _report;
  PlugInUnderCheck _plugIn;
};

}  // namespace

ExitStatus checkPlugIn(Session& session, const PlugInCheckOptions& options) {
  auto folder = qrb::PrivateFolder::temporary("qrbscm-");
  if (folder.path().empty()) {
    return session.fail(hostError(std::string("No temporary folder can be made: ") + std::strerror(errno),
                                  "Set TMPDIR to a folder of yours.", errno));
  }
  // Where another of its name cannot come before it.
  qrb::ServiceDirectories::unregisterAll();
  qrb::ServiceDirectories::registerDirectory(options.plugIn.parent_path().native());
  return CheckRun(session, options, folder.path()).run();
}

}  // namespace host
