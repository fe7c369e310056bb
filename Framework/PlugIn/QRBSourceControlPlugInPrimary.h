#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <qrb/Dictionary.h>
#include <qrb/Export.h>
#include <qrb/FileHandle.h>
#include <qrb/URL.h>

#include "QRBSourceControlCallbacks.h"
#include "QRBSourceControlForward.h"
#include "QRBSourceControlPlugInHost.h"

/// The base of every plug-in: one virtual function per message that a host may send.
///
/// A subclass overrides the messages that its system can serve. Each of the others is a programming error, which a
/// process run by QRBSourceControlRunPlugIn() survives: it is logged, and the host is told that the request is not
/// supported. A process serves one request. Messages are delivered one after another on the thread that runs the
/// plug-in; the completion is called exactly once, before the function returns or later, from any thread. With an error
/// the values do not matter.
class QRB_EXPORT QRBSourceControlPlugInPrimary {
 public:
  template <class... Values>
  using Completion = QRBSourceControlCompletionBlock<Values...>;
  /// The completion of a message that cannot fail.
  template <class... Values>
  using Answer = std::function<void(const Values&...)>;
  using Files = std::vector<qrb::String>;
  using Branches = std::vector<QRBSourceControlBranchPtr>;
  using LogItems = std::vector<QRBSourceControlLogItemPtr>;
  using WorkingCopies = std::vector<QRBSourceControlWorkingCopyPtr>;

  QRBSourceControlPlugInPrimary() = default;
  virtual ~QRBSourceControlPlugInPrimary() = default;
  QRBSourceControlPlugInPrimary(const QRBSourceControlPlugInPrimary&) = delete;
  QRBSourceControlPlugInPrimary& operator=(const QRBSourceControlPlugInPrimary&) = delete;

  /// The host that sent the request; set before the first message arrives.
  const QRBSourceControlPlugInHost& host() const { return *_host; }
  void setHost(std::shared_ptr<QRBSourceControlPlugInHost> host) { _host = std::move(host); }

  /// The request is over: ends the process at once with exit status 0.
  virtual void operationsFinished();

  // One function for each message, as it is declared and described there: arguments in order, then the completion.
  // Requests that were added later are answered here with the error that they are not supported.
#define QRB_MESSAGE(name, selector, line, words, parameters, ...) \
  virtual void name(QRB_BEFORE_COMPLETION parameters __VA_ARGS__ completionBlock);
#include "QRBSourceControlPlugInMessages.h"

 protected:
  /// A file URL with the last component of the name given, in a new folder that only the user can enter, below the
  /// process's temporary folder. Nothing stands there; file and folder are the caller's to make and to remove. Absent
  /// when no folder can be made, and for a name that names no file.
  static qrb::URL tempFilePathBasedOnFileName(const qrb::String& fileName);

  /// The path at which a tool is expected that came with the plug-in's installation, seen from the folder of the
  /// plug-in's program. Whether it is there is not looked at.
  static std::string _launchPathForTask(const qrb::String& tool);

  /// Reads a handle from this thread's run loop as its data comes: each piece is appended to the buffer and given to
  /// the parsing block, until the end. The counter, which several readers on one thread may share, is one higher for as
  /// long as the handle may still deliver: all output has come when it is back at 0. Destroying the token ends the
  /// reading; buffer and counter must live until then.
  [[nodiscard]] static qrb::ObserverToken _readDataFromFileHandle(
      const std::shared_ptr<qrb::FileHandle>& fileHandle, std::string& intoBuffer,
      std::int64_t& outstandingOperationCounter, std::function<void(std::string_view chunk)> dataParsingBlock);

  /// Programming errors: the way back to the host is `host()`.
  static void setProgressStatus(std::int64_t status, double progressValue, const qrb::String& userReadableString,
                                const qrb::String& progressIdentifier);
  static void setIncrementalLogStatus(const LogItems& items, const qrb::Dictionary& info,
                                      const qrb::String& progressIdentifier);

  /// The last progress fraction that the plug-in reported; for subclasses to keep.
  double _lastProgressValueSent = 0;

 private:
  std::shared_ptr<QRBSourceControlPlugInHost> _host;
};
