#pragma once

#include <cerrno>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "AuthenticationPrompter.h"
#include "Error.h"
#include "EventLoop.h"
#include "Guarded.h"
#include "Observer.h"
#include "Output.h"
#include "Progress.h"
#include "QRBSourceControlForward.h"

struct QRBSourceControlServiceFailure;

namespace host {

/// What the program ends with.
enum class ExitStatus { success = 0, failed = 1, wrongUsage = 2 };

/// The options of every command.
struct CommonOptions {
  bool json = false;
  bool verbose = false;
  std::vector<std::string> plugInDirectories;
};

/// One run of one command: where it prints, and how it waits for what it asks of the library. Main thread.
class Session {
 public:
  /// The event loop and the output outlive the session.
  Session(CommonOptions options, EventLoop& loop, Output& output);

  bool json() const { return _options.json; }
  bool verbose() const { return _options.verbose; }
  Output& output() { return _output; }
  Progress& progress() { return _progress; }

  /// For commands that only list: once nobody takes the output any more, they are cancelled and have not failed. Others
  /// go on with what they were told to do, and say how that went.
  void endUnread() { _endsUnread = true; }

  /// To be called by a request's completion, once, on any thread.
  using Done = std::function<void(qrb::Error error)>;
  /// Makes one request and returns its handle.
  using Start = std::function<QRBSourceControlCancellablePtr(Done done)>;

  /// Makes requests that do not wait for each other and returns their errors, in order, once all have been answered and
  /// their processes told to end. Interruption by the user, and output that cannot be written, cancel them; the
  /// callbacks of a cancelled request may still be running on another thread then.
  std::vector<qrb::Error> perform(std::string label, const std::vector<Start>& requests);
  qrb::Error perform(std::string label, const Start& request);
  /// Makes a request on the working copy or its repository that reaches a remote one: the user is asked about that one
  /// when its server refuses.
  qrb::Error perform(std::string label, const Start& request, const QRBSourceControlRemoteRepositoryPtr& remote);
  /// What shows the progress of the request that is made next; any thread.
  std::function<void(const qrb::String& text, double fraction)> progressBlock();

  /// From now on what plug-ins write to their standard error is shown, such as the words of a repository's hooks.
  void showPlugInMessages();

  /// Prints an error for the user and returns what to end with: failure, unless the error is only that the reader of
  /// the output has gone.
  ExitStatus fail(const qrb::Error& error);
  /// Ends a command whose request has nothing to do where both sides are alike already, which is told and no failure.
  ExitStatus finishTransfer(const qrb::Error& error);
  /// A remark for the user, beside the output.
  void note(std::string_view text);
  /// Hands over the output, waits (for a limited time) until no process of ours is left, and returns what to end with.
  ExitStatus finish(ExitStatus status);

 private:
  void takeServiceFailure(const QRBSourceControlServiceFailure& failure);
  /// Whether there is no use in going on, as the output is lost.
  bool isPointless() const { return _output.isLost() && (_endsUnread || _output.error() != EPIPE); }

  CommonOptions _options;
  EventLoop& _loop;
  Output& _output;
  Progress _progress;
  const std::shared_ptr<AuthenticationPrompter> _prompter;
  qrb::Guarded<std::set<std::string, std::less<>>> _plugInMessages;
  bool _endsUnread = false;
  /// Why a helper service will not answer.
  qrb::Guarded<qrb::Error> _lostService;
  qrb::ObserverToken _serviceFailures;
};

}  // namespace host
