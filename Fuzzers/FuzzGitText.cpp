// The small readers: branches, upstreams, remotes, locations, versions, error messages; and the checks that keep names
// from being anything else.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "GitBranchCommands.h"
#include "GitCommands.h"
#include "GitFailure.h"
#include "GitNames.h"
#include "GitRefParser.h"
#include "GitRepositoryCommands.h"

namespace {

std::string readBranches(std::string_view bytes, std::size_t cut) {
  GitRefParser parser;
  std::string result;
  auto sink = [&](const GitRefRecord& record) {
    result.append(record.fullName).append(1, '\0').append(record.name).append(1, '\0').append(record.upstream);
  };
  bool isWhole = parser.feed(bytes.substr(0, cut), sink) && parser.feed(bytes.substr(cut), sink) && parser.finish();
  if (isWhole == parser.error().has_value()) std::abort();
  return isWhole ? result : result + parser.error()->what + std::to_string(parser.error()->offset);
}

bool isPlain(std::string_view name) {
  if (name.empty() || name.front() == '-') return false;
  for (char byte : name) {
    if (static_cast<unsigned char>(byte) < 0x20) return false;
  }
  return true;
}

void checkNames(std::string_view bytes) {
  bool isRefName = gitBranchNameFault(bytes).empty() || gitRemoteNameFault(bytes).empty();
  if (isRefName && (!isPlain(bytes) || bytes.find("..") != std::string_view::npos ||
                    bytes.find_first_of(" :^~") != std::string_view::npos)) {
    std::abort();
  }
  if (gitAddressFault(bytes).empty() && (!isPlain(bytes) || bytes.starts_with("ext::"))) std::abort();
  if (gitRevisionFault(bytes).empty() && !isPlain(bytes)) std::abort();
  if (qrb::URL url(bytes); !gitRefuseURL(url) != gitAddressFault(bytes).empty()) std::abort();
}

void readAnswers(std::string_view bytes) {
  if (auto remotes = gitReadRemotes(bytes)) {
    for (const GitRemote& remote : *remotes) {
      if (remote.name.empty() || remote.address.empty()) std::abort();
    }
  }
  if (bytes.find(gitReadBranchOrigin(bytes)) == std::string_view::npos) std::abort();
  gitReadUpstream(bytes);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view bytes(reinterpret_cast<const char*>(data), size);
  if (readBranches(bytes, size) != readBranches(bytes, size / 2)) std::abort();
  checkNames(bytes);
  readAnswers(bytes);
  gitReadLocation(bytes);
  GitFailure failure = classifyGitFailure(128, bytes);
  if (bytes.find(failure.message) == std::string_view::npos) std::abort();
  if (bytes.find(failure.detail) == std::string_view::npos) std::abort();
  GitCommand command = gitResolveCommand(bytes);
  if (command && (command.arguments.back().starts_with('-') || command.arguments.back().starts_with('^'))) std::abort();
  return 0;
}
