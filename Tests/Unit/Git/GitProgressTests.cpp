#include "GitProgress.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace {

struct Step {
  double fraction;
  std::string text;
  bool isCheckout;
  bool operator==(const Step&) const = default;
};

std::vector<Step> read(GitTransfer transfer, const std::vector<std::string_view>& pieces) {
  GitProgressReader reader(transfer);
  std::vector<Step> steps;
  for (std::string_view piece : pieces) {
    reader.feed(piece, [&](double fraction, std::string_view text, bool isCheckout) {
      steps.push_back({fraction, std::string(text), isCheckout});
    });
  }
  return steps;
}

constexpr std::string_view clone =
    "Cloning into '/x: 50% (1/2)'...\n"
    "remote: Enumerating objects: 12, done.\x1b[K\n"
    "remote: Counting objects:   8% (1/12)\x1b[K\rremote: Counting objects: 100% (12/12), done.\x1b[K\n"
    "warning: Receiving objects: 99% (1/1)\n"
    "Receiving objects:  50% (6/12), 1.2 MiB | 2.3 MiB/s\rReceiving objects: 100% (12/12), done.\n"
    "Resolving deltas: 100% (2/2), done.\n"
    "Updating files:  50% (1/2)\rUpdating files: 100% (2/2), done.\n";

TEST(GitProgress, growsWithTheWorkOfAClone) {
  std::vector<Step> steps = read(GitTransfer::clone, {clone});
  ASSERT_EQ(steps.size(), 8u);
  EXPECT_EQ(steps[3].text, "Receiving objects:  50% (6/12), 1.2 MiB | 2.3 MiB/s");
  EXPECT_TRUE(std::ranges::is_sorted(steps, {}, &Step::fraction));
  EXPECT_GT(steps[3].fraction, 0.3);
  EXPECT_LT(steps[3].fraction, 0.5);
  EXPECT_FALSE(steps[5].isCheckout);
  EXPECT_TRUE(steps[6].isCheckout && steps[7].isCheckout);
  EXPECT_GT(steps[7].fraction, 0.95);
  EXPECT_LT(steps[7].fraction, 1) << "only the end of the command is the end";
}

TEST(GitProgress, isTheSameHoweverTheStreamIsCut) {
  std::vector<Step> whole = read(GitTransfer::clone, {clone});
  for (std::size_t cut = 0; cut <= clone.size(); ++cut) {
    EXPECT_EQ(read(GitTransfer::clone, {clone.substr(0, cut), clone.substr(cut)}), whole) << cut;
  }
}

TEST(GitProgress, neverGoesBack) {
  const std::vector<Step> steps =
      read(GitTransfer::push, {"Writing objects:  90% (9/10)\r", "Counting objects:   5% (1/20)\r",
                               "Writing objects:  20% (2/10)\r", "remote: Resolving deltas:   0% (0/1)\r"});
  EXPECT_TRUE(std::ranges::is_sorted(steps, {}, &Step::fraction));
}

TEST(GitProgress, whatIsNoneIsPassedOver) {
  for (const std::string_view line :
       {"", ":", "remote: ", "fatal: 12% wrong", "Receiving objects: ", "Receiving objects: x",
        "Receiving objects: -1%", "Receiving objects: 101% (1/1)", "To https://h: 5%",
        "remote: Receiving objects: 5% (1/2) from elsewhere", "error: RPC failed; HTTP 403",
        "Receiving objects: 99999999999999999999% (1/1)"}) {
    EXPECT_THAT(read(GitTransfer::fetch, {line, "\n"}), testing::IsEmpty()) << line;
  }
  std::string endless(1 << 20, 'x');
  EXPECT_EQ(read(GitTransfer::fetch, {endless, endless, "\nReceiving objects: 100% (1/1)\n"}).size(), 1u);
}

}  // namespace
