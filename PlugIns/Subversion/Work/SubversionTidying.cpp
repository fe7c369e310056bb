#include "SubversionTidying.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <string_view>

#include "OwnProgram.h"
#include "ProcessTable.h"
#include "SubversionClient.h"
#include "SubversionProbe.h"

namespace {

namespace fs = std::filesystem;

constexpr std::string_view tidyingOption = "--tidy-up";

/// Whether a process has the administrative data open: whoever has locked a working copy has. Of other users' processes
/// the system does not tell.
bool isInUse(const std::string& folder) {
  std::error_code error;
  fs::path data = fs::canonical(fs::path(folder) / ".svn/wc.db", error);
  if (error) return false;
  bool isUsed = false;
  qrb::forEachProcess([&](const qrb::ProcessEntry& entry) {
    if (entry.isOver) return true;
    std::error_code unreadable;
    fs::directory_iterator each(fs::path("/proc") / std::to_string(entry.id) / "fd", unreadable);
    for (; !unreadable && each != fs::directory_iterator(); each.increment(unreadable)) {
      std::error_code gone;
      if (fs::read_symlink(each->path(), gone) == data) isUsed = true;
    }
    return !isUsed;
  });
  return isUsed;
}

}  // namespace

qrb::Guard::Job subversionTidyingJob(const std::string& folder) {
  return {{qrb::ownProgram(), std::string(tidyingOption), folder}};
}

std::optional<int> subversionTidyUp(std::span<char* const> arguments) {
  if (arguments.size() != 3 || arguments[1] != tidyingOption) return std::nullopt;
  std::string folder = arguments[2];
  auto probe = SubversionProbe::of(folder);
  if (!probe || probe->form == SubversionProbe::Form::old || isInUse(folder)) return 0;
  SubversionClient client(-1);
  return client.cleanUp(folder) ? 1 : 0;
}
