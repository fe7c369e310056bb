#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/prctl.h>

#include <chrono>
#include <filesystem>
#include <future>
#include <memory>
#include <random>
#include <string>

#include "FileDescriptor.h"
#include "GitRepository.h"
#include "ProcessReaper.h"
#include "QRBSourceControlManager.h"
#include "ServiceReservePrivate.h"

namespace qrb::test {

/// How the requests of a test ended that were cancelled at random moments.
struct CancellationTally {
  int cancelled = 0;
  int succeeded = 0;
  int failed = 0;
};

/// Waits until nothing is left of the requests so far: their processes, those that these have started, and whoever
/// tidies up after them in the working copy.
inline void waitForProcesses(const std::string& root) {
  // What a plug-in leaves comes to this process, which sees its end at once; elsewhere that may take a second.
  ::prctl(PR_SET_CHILD_SUBREAPER, 1);
  constexpr std::chrono::seconds patience{60};
  ServiceReserve::shared().clear();
  EXPECT_TRUE(ProcessReaper::shared().drain(patience)) << "a process did not end";
  FileDescriptor turn(::open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  EXPECT_EQ(::flock(turn.get(), LOCK_EX), 0);
}

/// Makes requests on a working copy one after the other and cancels each at a random moment within about the time that
/// one takes, so that every step on its way is hit now and then. Three run to their end, to find out how long that is.
///
/// `start(number, completion)` starts a request whose completion ends with an error, and returns what cancels it.
/// `check(number, error)` is called when nothing of it is running any more.
template <class Start, class Check>
CancellationTally cancelAtRandomMoments(const std::string& root, int count, unsigned seed, Start&& start,
                                        Check&& check) {
  using Clock = std::chrono::steady_clock;
  constexpr int measured = 3;
  constexpr std::chrono::seconds patience{60};
  std::mt19937 random(seed);
  std::chrono::microseconds longest{0};
  CancellationTally tally;
  for (int number = 0; number < count; ++number) {
    auto settled = std::make_shared<std::promise<Error>>();
    auto future = settled->get_future();
    Clock::time_point begin = Clock::now();
    auto operation = start(number, [settled](const Error& error) { settled->set_value(error); });
    if (number < measured) {
      EXPECT_EQ(future.wait_for(patience), std::future_status::ready);
      longest = std::max(longest, std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - begin));
    } else {
      std::uniform_int_distribution<long> moment(0, longest.count());
      // The completion is what is waited for, and the moment only how long.
      if (future.wait_for(std::chrono::microseconds(moment(random))) != std::future_status::ready) operation->cancel();
    }
    if (future.wait_for(patience) != std::future_status::ready) {
      ADD_FAILURE() << "request " << number << " never settled";
      return tally;
    }
    Error error = future.get();
    constexpr std::int64_t cancellation = -5;
    ++(!error ? tally.succeeded : error.code() == cancellation ? tally.cancelled : tally.failed);
    waitForProcesses(root);
    check(number, error);
  }
  EXPECT_GT(tally.cancelled, 0);
  EXPECT_GT(tally.succeeded, 0);
  return tally;
}

/// Fails the test where a repository is not consistent, or has a lock or a file of a command that was cut off.
inline void expectConsistent(GitRepository& repository, const std::string& when) {
  EXPECT_EQ(repository.run({"fsck", "--strict", "--no-dangling"}), "") << when;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(repository.pathOf(".git"))) {
    std::string name = entry.path().filename().string();
    EXPECT_FALSE(name.ends_with(".lock")) << when << ": " << entry.path();
  }
}

}  // namespace qrb::test
