// The small readers: branches, locations, versions, error messages; and the check that keeps revisions plain.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "GitCommands.h"
#include "GitFailure.h"
#include "GitRefParser.h"

namespace {

std::string readBranches(std::string_view bytes, std::size_t cut) {
  GitRefParser parser;
  std::string result;
  const auto sink = [&](const GitRefRecord& record) {
    result.append(record.fullName).append(1, '\0').append(record.name).append(1, '\0').append(record.upstream);
  };
  const bool isWhole =
      parser.feed(bytes.substr(0, cut), sink) && parser.feed(bytes.substr(cut), sink) && parser.finish();
  if (isWhole == parser.error().has_value()) std::abort();
  return isWhole ? result : result + parser.error()->what + std::to_string(parser.error()->offset);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  if (readBranches(bytes, size) != readBranches(bytes, size / 2)) std::abort();
  gitReadVersion(bytes);
  gitReadLocation(bytes);
  const GitFailure failure = classifyGitFailure(128, bytes);
  if (bytes.find(failure.message) == std::string_view::npos) std::abort();
  if (bytes.find(failure.detail) == std::string_view::npos) std::abort();
  const GitCommand command = gitResolveCommand(bytes);
  if (command && (command.arguments.back().starts_with('-') || command.arguments.back().starts_with('^'))) std::abort();
  return 0;
}
