#include "QRBSourceControlPlugInTools.h"

#include "Assertion.h"
#include "Log.h"
#include "OwnProgram.h"
#include "PathString.h"
#include "PrivateFolder.h"
#include "QRBSourceControlPlugInPrimary.h"

namespace {

constexpr const char* kFile = "Framework/QRBSourceControlPlugInPrimary";
constexpr const char* kNoSuchWayBack = "Attempt to use PlugInKit callback when PlugInKit is not enabled.";

}  // namespace

bool containsSearchTerm(const qrb::String& searchTerm, const qrb::String& text, qrb::TextRange* range) {
  auto found = qrb::caseAndDiacriticInsensitiveFind(searchTerm.view(), text.view());
  if (range != nullptr) *range = found.value_or(qrb::TextRange{QRBSourceControlNotFound, 0});
  return found.has_value();
}

std::string qrb::launchPathForTask(std::string_view tool, std::string_view folder) {
  if (folder.empty()) {
    log("plug-in", "No launch path found for " + std::string(tool) + " task.");
    return "/usr/bin/" + std::string(tool);
  }
  return standardizedPath(std::string(folder) + "/../../../../../../Developer/usr/bin/" + std::string(tool));
}

qrb::URL QRBSourceControlPlugInPrimary::tempFilePathBasedOnFileName(const qrb::String& fileName) {
  std::string_view name = qrb::lastPathComponent(fileName.view());
  // These name no file of their own.
  if (name.empty() || name == "/" || name == "." || name == "..") return {};
  std::string folder = qrb::PrivateFolder::temporary("").keep();
  return folder.empty() ? qrb::URL() : qrb::URL::fileURL(qrb::appendingPathComponent(folder, name));
}

std::string QRBSourceControlPlugInPrimary::_launchPathForTask(const qrb::String& tool) {
  return qrb::launchPathForTask(tool.view(), qrb::ownProgramFolder());
}

qrb::ObserverToken QRBSourceControlPlugInPrimary::_readDataFromFileHandle(
    const std::shared_ptr<qrb::FileHandle>& fileHandle, std::string& intoBuffer,
    std::int64_t& outstandingOperationCounter, std::function<void(std::string_view chunk)> dataParsingBlock) {
  // Held weakly, as the handle holds this: it lives at least until its observers have been told.
  auto read = [weak = std::weak_ptr(fileHandle), &intoBuffer, &outstandingOperationCounter,
               parse = std::move(dataParsingBlock)] {
    --outstandingOperationCounter;
    std::shared_ptr<qrb::FileHandle> handle = weak.lock();
    std::string data;
    try {
      data = handle->availableData();
    } catch (const qrb::FileHandleError&) {
      // A handle that is closed or broken has no more to give.
    }
    if (data.empty()) return;
    intoBuffer += data;
    ++outstandingOperationCounter;
    if (parse) parse(data);
    handle->waitForDataInBackgroundAndNotify();
  };
  qrb::ObserverToken token = fileHandle->observeDataAvailable(std::move(read));
  ++outstandingOperationCounter;
  fileHandle->waitForDataInBackgroundAndNotify();
  return token;
}

void QRBSourceControlPlugInPrimary::setProgressStatus(std::int64_t, double, const qrb::String&, const qrb::String&) {
  qrb::assertionFailure(kFile, 156, kNoSuchWayBack);
}

void QRBSourceControlPlugInPrimary::setIncrementalLogStatus(const LogItems&, const qrb::Dictionary&,
                                                            const qrb::String&) {
  qrb::assertionFailure(kFile, 160, kNoSuchWayBack);
}
