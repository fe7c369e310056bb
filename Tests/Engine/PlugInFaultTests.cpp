#include <signal.h>

#include <random>

#include "EngineTesting.h"
#include "QRBSourceControlError.h"

namespace qrb::test {
namespace {

class PlugInFaultTest : public EngineTest {
 protected:
  // A fault must be over when it is over: the request that comes after it is served as if nothing had been.
  void expectNextRequestWorks() {
    usePlugIn("good");
    auto outcome = requestBaseRevision();
    auto [revision, error] = outcome->wait();
    EXPECT_FALSE(error) << error.description();
    EXPECT_NE(revision, nullptr);
  }
};

struct Fault {
  const char* mode;
  /// What the failure says of it, beside the plug-in's name.
  const char* detail;
};

#define ASKED "\"baseRevisionOfWorkingCopy:completionBlock:\""

// Modes in which no whole reply ever reaches the host.
const Fault faults[] = {
    // These may be gone before they are asked.
    {"exit-at-start", "the process ended (exit code 0)"},
    {"killed-at-start", "the process ended (signal 9 (SIGKILL, Killed))"},
    {"exit-without-reply", "the process ended (exit code 0) before it answered " ASKED "."},
    {"killed-without-reply", "the process ended (signal 9 (SIGKILL, Killed)) before it answered " ASKED "."},
    {"garbage", "a byte that begins no value, at byte 0 of the message"},
    {"text", "an array was expected, and an integer found, at byte 0 of the message"},
    {"gigabyte-length", "message too long, at byte 4 of the message"},
    {"million-elements", "too many values in one message, at byte 4 of the message"},
    {"deep", "values nested too deep"},
    {"unknown-class",
     "the reply to " ASKED ", value 1: an object of class QRBSourceControlRevision was expected, and one of class "},
    {"another-class",
     "the reply to " ASKED ", value 1: an object of class QRBSourceControlRevision was expected, and one of class "
     "QRBSourceControlTag found, at byte 5 of the message"},
    {"another-type",
     "the reply to " ASKED ", value 1: an object was expected, and a string found, at byte 5 of the message"},
    {"dangling-reference", "a reference to no object"},
    {"reply-to-no-request", "a response to no request"},
    {"request-to-host", "the call \"x\": a request where only callbacks are served"}};

TEST_F(PlugInFaultTest, EveryFaultSettlesItsRequestOnceWithTheCommunicationFailure) {
  for (int round = 0; round < 20; ++round) {
    for (const auto& [fault, detail] : faults) {
      usePlugIn(fault);
      auto outcome = requestBaseRevision();
      auto [revision, error] = outcome->wait();
      EXPECT_TRUE(isCommunicationFailure(error)) << fault << ": " << error.description();
      std::string said = error.userInfo(QRBSourceControlUnderlyingErrorString).str();
      EXPECT_TRUE(said.starts_with("org.qrb.Orlix.sourcecontrol.Git: ")) << said;
      EXPECT_NE(said.find(detail), std::string::npos) << fault << ": " << said;
      EXPECT_EQ(revision, nullptr) << fault;
      settleProcesses();
      EXPECT_EQ(outcome->calls(), 1u) << fault;
    }
    expectNextRequestWorks();
  }
}

TEST_F(PlugInFaultTest, AReplyThatArrivedWholeCountsWhateverComesAfterIt) {
  for (int round = 0; round < 30; ++round) {
    for (const char* mode : {"reply-then-die", "reply-twice"}) {
      usePlugIn(mode);
      auto outcome = requestBaseRevision();
      auto [revision, error] = outcome->wait();
      ASSERT_FALSE(error) << mode << ": " << error.description();
      EXPECT_EQ(revision->identifier(), "whole") << mode;
      settleProcesses();
      EXPECT_EQ(outcome->calls(), 1u) << mode;
    }
  }
  expectNextRequestWorks();
}

// The length of the reply is found by trying: from it on, the request succeeds.
TEST_F(PlugInFaultTest, DeathAfterAnyByteOfTheReplyGivesTheReplyOnlyWhenItWasWhole) {
  std::size_t failures = 0;
  for (std::size_t sent = 0; sent < 400; ++sent) {
    usePlugIn("dies-after-" + std::to_string(sent));
    auto outcome = requestBaseRevision();
    auto [revision, error] = outcome->wait();
    EXPECT_EQ(outcome->calls(), 1u);
    if (!error) {
      EXPECT_EQ(revision->identifier(), "whole");
      EXPECT_GT(sent, 40u);
      break;
    }
    EXPECT_TRUE(isCommunicationFailure(error));
    EXPECT_EQ(revision, nullptr);
    ++failures;
  }
  EXPECT_GT(failures, 40u);
  EXPECT_LT(failures, 399u) << "no reply was ever taken for whole";
  expectNextRequestWorks();
}

TEST_F(PlugInFaultTest, APlugInKilledFromOutsideAtAnyMomentSettlesItsRequestOnce) {
  std::mt19937 random(4711);
  std::size_t killed = 0;
  for (int round = 0; round < 300; ++round) {
    auto outcome = requestBaseRevision();
    // Some rounds hit the launch, some the reply, some come too late.
    for (unsigned spin = random() % 2000; spin > 0; --spin) std::atomic_signal_fence(std::memory_order_seq_cst);
    for (const ProcessEntry& child : childProcesses()) {
      if (child.state != 'Z' && ::kill(child.id, SIGKILL) == 0) ++killed;
    }
    auto [revision, error] = outcome->wait();
    EXPECT_TRUE(error ? isCommunicationFailure(error) : revision != nullptr) << error.description();
    EXPECT_EQ(outcome->calls(), 1u);
  }
  EXPECT_GT(killed, 0u);
  // A process that waits for the next request may have been hit, and take a moment to die.
  settleProcesses();
  expectNextRequestWorks();
}

// The most memory that this program has held since `function` began, beyond what it held then.
template <class Function>
std::size_t kilobytesTakenBy(Function function) {
  auto kilobytes = [](const char* word) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
      if (line.starts_with(word)) return std::stoul(line.substr(line.find(':') + 1));
    }
    return 0ul;
  };
  std::size_t before = kilobytes("VmRSS");
  // Makes the peak begin anew.
  std::ofstream("/proc/self/clear_refs") << 5;
  function();
  std::size_t peak = kilobytes("VmHWM");
  return peak > before ? peak - before : 0;
}

TEST_F(PlugInFaultTest, APlugInThatDeliversTooMuchFailsItsRequestAloneAndTakesLittleMemory) {
  usePlugIn("flood");
  for (const char* name : {"flood-of-texts", "flood-of-objects"}) {
    auto flooded = RevisionOutcome::make();
    std::vector<std::shared_ptr<RevisionOutcome>> beside;
    std::size_t taken = kilobytesTakenBy([&] {
      manager()->baseRevisionOfWorkingCopy(workingCopy(name), flooded->completion());
      for (int number = 0; number < 20; ++number) beside.push_back(requestBaseRevision());
      flooded->wait();
    });
    Error error = flooded->error();
    EXPECT_TRUE(isCommunicationFailure(error)) << name << ": " << error.description();
    std::string detail = error.userInfo(QRBSourceControlUnderlyingErrorString).str();
    EXPECT_NE(detail.find("536870912 bytes"), std::string::npos) << detail;
    EXPECT_TRUE(detail.starts_with("org.qrb.Orlix.sourcecontrol.Git: ")) << detail;
    // A sanitizer takes a multiple for its own books.
    if (QRB_IS_SANITIZED == 0) {
      EXPECT_LT(taken, 1'500'000u) << name;
    }
    for (auto& outcome : beside) EXPECT_FALSE(outcome->error()) << outcome->error().description();
    settleProcesses();
    EXPECT_EQ(flooded->calls(), 1u) << name;
  }
}

// All of these at once: what they leave behind is waited for with a grace period.
TEST_F(PlugInFaultTest, ProcessesThatDoNotEndByThemselvesAreEnded) {
  struct Case {
    const char* mode;
    std::shared_ptr<RevisionOutcome> outcome;
  };
  std::vector<Case> cases;
  for (int round = 0; round < 5; ++round) {
    for (const char* mode : {"deaf", "killed-with-child"}) {
      usePlugIn(mode);
      cases.push_back({mode, requestBaseRevision()});
      cases.back().outcome->wait();
    }
  }
  for (const Case& each : cases) {
    bool replied = std::string(each.mode) == "deaf";
    EXPECT_EQ(isCommunicationFailure(each.outcome->error()), !replied) << each.mode;
    EXPECT_EQ(each.outcome->calls(), 1u) << each.mode;
  }
  settleProcesses();
  EXPECT_TRUE(descendants().empty());
}

TEST_F(PlugInFaultTest, AServiceThatCannotBeLaunchedFailsItsRequest) {
  TemporaryDirectory folder;
  auto file = std::filesystem::path(folder.path()) / "org.qrb.Orlix.sourcecontrol.Git";
  ServiceDirectories::unregisterAll();
  ServiceDirectories::registerDirectory(std::string(folder.path()));

  auto missing = RevisionOutcome::make();
  auto nowhere =
      QRBSourceControlSystem::initWithName("Nowhere", "org.nowhere", "1", {}, {}, false, false, false, false, false, 0);
  manager()->headRevisionOfRepository(QRBSourceControlRepository::initWithURL(URL::fileURL("/r"), nowhere),
                                      missing->completion());
  EXPECT_TRUE(isCommunicationFailure(missing->error()));

  auto expectFailure = [&](const char* what) {
    auto outcome = requestBaseRevision();
    EXPECT_TRUE(isCommunicationFailure(outcome->error())) << what;
    EXPECT_EQ(outcome->calls(), 1u) << what;
  };
  std::ofstream(file) << "#!/no/such/interpreter\n";
  expectFailure("not executable");
  std::filesystem::permissions(file, std::filesystem::perms::owner_all);
  expectFailure("no interpreter");
  std::ofstream(file) << "neither script nor program";
  expectFailure("no known format");
  expectNextRequestWorks();
}

}  // namespace
}  // namespace qrb::test
