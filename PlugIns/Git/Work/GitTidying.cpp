#include "GitTidying.h"

#include <unistd.h>

#include <charconv>
#include <string>
#include <string_view>

#include "FileSystem.h"
#include "GitCheckoutRepair.h"
#include "GitLockFiles.h"
#include "GitProcesses.h"
#include "GitStaging.h"
#include "GitTidyingJob.h"

namespace {

constexpr int kWrongUsage = 2;

template <class Number>
bool read(std::string_view text, Number& number) {
  return std::from_chars(text.data(), text.data() + text.size(), number).ec == std::errc();
}

}  // namespace

std::optional<int> gitTidyUp(std::span<char* const> arguments) {
  if (arguments.size() < 2 || arguments[1] != gitTidyingOption) return std::nullopt;
  timespec since{};
  if (arguments.size() < 6 || !read(arguments[4], since.tv_sec) || !read(arguments[5], since.tv_nsec)) {
    return kWrongUsage;
  }
  std::string_view kind = arguments[2];
  std::string folder = arguments[3];
  if (kind == "lock-files" && arguments.size() == 6) {
    if (!gitWorksIn(folder)) gitRemoveLockFiles(folder, since);
  } else if (kind == "checkout" && arguments.size() == 8) {
    gitTakeBackCheckout(folder, arguments[6], arguments[7] == std::string_view("merge"), since);
  } else if (kind == "staging" && arguments.size() == 6) {
    auto remembered = qrb::readToEnd(STDIN_FILENO, qrb::anySize);
    if (remembered) GitStaging::restoreUncommitted(folder, *remembered);
  } else {
    return kWrongUsage;
  }
  return 0;
}
