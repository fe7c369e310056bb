#include "consumer.h"

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>

namespace {

constexpr const char* kIdentifier = "com.example.Strict";

class StrictPlugIn final : public QRBSourceControlPlugInPrimary {
 public:
  using QRBSourceControlPlugInPrimary::_launchPathForTask;
  using QRBSourceControlPlugInPrimary::tempFilePathBasedOnFileName;

  void sourceControlSystem(Answer<QRBSourceControlSystemPtr> completionBlock) override {
    auto system =
        QRBSourceControlSystem::initWithName("Strict", kIdentifier, "1", ".strict", {"strict"}, true, false, false,
                                             false, false, QRBSourceControlAuthenticationTypeAnonymous);
    completionBlock(
        system->systemWithAdditionalRequests({"listTagsOfRepository:branchAndTagLocations:completionBlock:"}));
  }

  void createWorkingCopyFromRepository(const QRBSourceControlRemoteRepositoryPtr&,
                                       const QRBSourceControlRevisionLocationPtr&,
                                       const QRBSourceControlBranchAndTagLocationsPtr&, const qrb::URL&,
                                       const qrb::String& progressIdentifier,
                                       Completion<QRBSourceControlWorkingCopyPtr> completionBlock) override {
    host().progressStatus(QRBSourceControlProgressStatus::transferring, 0.5, "half", progressIdentifier);
    completionBlock(nullptr, QRBSourceControlError_WorkingCopyNotFound(readThroughPipe()));
  }

  void historyOfWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy, const QRBSourceControlRevisionPtr&,
                            const QRBSourceControlRevisionPtr&, std::uint64_t, std::int64_t, const qrb::String&,
                            std::uint64_t, const qrb::String& progressIdentifier,
                            Completion<LogItems> completionBlock) override {
    auto author = QRBSourceControlAuthor::initWithUsername("jo", "jo@example.com");
    auto item = QRBSourceControlLogItem::initWithAuthor(author, QRBSourceControlRevision::initWithIdentifier("1"),
                                                        qrb::Date(), "message", workingCopy);
    host().incrementalLogStatus({item}, 1, progressIdentifier);
    completionBlock({item}, {});
  }

  void operationsFinished() override { QRBSourceControlPlugInPrimary::operationsFinished(); }

 private:
  // What a tool would have printed.
  static std::string readThroughPipe() {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) return "no pipe";
    qrb::FileDescriptor writing(ends[1]);
    auto reading = qrb::FileHandle::make(qrb::FileDescriptor(ends[0]));
    std::string printed;
    std::int64_t open = 0;
    auto observation = _readDataFromFileHandle(reading, printed, open, {});
    if (::write(writing.get(), "printed", 7) != 7) return "nothing";
    writing.reset();
    while (open > 0) qrb::RunLoop::current().runOnce();
    return printed;
  }
};

}  // namespace

int servePlugIn() {
  return QRBSourceControlRunPlugIn(std::make_shared<StrictPlugIn>());
}

void installPlugIn(const std::string& folder) {
  std::filesystem::create_directory(folder);
  std::filesystem::copy("/proc/self/exe", folder + "/" + kIdentifier);
  qrb::ServiceDirectories::registerDirectory(folder);
}

void usePlugIn(const std::string& folder) {
  expect(StrictPlugIn::_launchPathForTask("git").ends_with("git"), "a tool is looked for");
  qrb::URL temporary = StrictPlugIn::tempFilePathBasedOnFileName("name");
  expect(temporary.lastPathComponent() == "name", "a file of a plug-in has a place of its own");
  std::filesystem::remove_all(temporary.deletingLastPathComponent().path().str());

  auto system = QRBSourceControlSystem::systemWithIdentifier(kIdentifier);
  expect(system->isUsable() && system->additionalRequests().size() == 1, "the plug-in is found");
  if (!system->isUsable()) return;
  auto remote = QRBSourceControlRemoteRepository::initUnsavedWithURL(qrb::URL("strict://x"), system);
  std::vector<double> fractions;
  auto [made, error] = answerOf<QRBSourceControlWorkingCopyPtr>([&](auto completion) {
    remote->createWorkingCopyAtURL(
        qrb::URL::fileURL(folder + "/made"), nullptr, nullptr,
        [&](const auto&, double fraction) { fractions.push_back(fraction); }, completion);
  });
  expect(error.userInfo(QRBSourceControlUnderlyingErrorString) == "printed" && fractions == std::vector{0.5},
         "the plug-in says how far it is, and what went wrong");
  auto url = qrb::URL::fileURL(folder);
  auto workingCopy = QRBSourceControlWorkingCopy::initWithFileURLUnidentifiableRepository(
      url, QRBSourceControlRepository::initWithURL(url, system));
  std::size_t streamed = 0;
  auto [items, historyError] = answerOf<std::vector<QRBSourceControlLogItemPtr>>([&](auto completion) {
    workingCopy->historyFromRevision(
        nullptr, nullptr, QRBSourceControlHistoryIncludeAll, 0, {}, QRBSourceControlHistorySearchDefault,
        [&](const auto& batch, double) { streamed += batch.size(); }, completion);
  });
  expectSuccess(historyError, "the plug-in has a history");
  expect(streamed == 1 && items.size() == 1 && items[0]->message() == "message", "it is told as it is found");
}
