#include <filesystem>

#include "Command.h"
#include "PlugInCheck.h"

namespace host {

namespace {

namespace fs = std::filesystem;

struct CheckArguments {
  std::string path;
  std::string workingCopy;
  std::string url;
  std::optional<std::int64_t> seconds;
};

constexpr std::int64_t kUsualSeconds = 5;
constexpr std::int64_t kMostSeconds = 3600;

std::string whatIsWrong(const CheckArguments& arguments) {
  std::error_code failure;
  if (!fs::exists(arguments.path, failure)) return arguments.path + " is not there; name the program of a plug-in";
  if (fs::is_directory(arguments.path, failure)) {
    return arguments.path + " is a folder; name the program of a plug-in in it";
  }
  if (!arguments.workingCopy.empty() && !fs::is_directory(arguments.workingCopy, failure)) {
    return "--working-copy: " + arguments.workingCopy + " is no folder; name the root of a working copy";
  }
  std::int64_t seconds = arguments.seconds.value_or(kUsualSeconds);
  return seconds > 0 && seconds <= kMostSeconds ? "" : "--timeout: a number of seconds above 0 is wanted, 3600 at most";
}

ExitStatus runCheck(Session& session, const CheckArguments& arguments) {
  PlugInCheckOptions options;
  // A link is what a host finds under its name.
  fs::path file = fs::absolute(arguments.path).lexically_normal();
  options.plugIn = fs::canonical(file.parent_path()) / file.filename();
  if (!arguments.workingCopy.empty()) options.workingCopy = fs::canonical(arguments.workingCopy);
  options.url = arguments.url;
  options.limit = std::chrono::seconds(arguments.seconds.value_or(kUsualSeconds));
  return checkPlugIn(session, options);
}

Command::Run declarePlugIn(CommandDeclaration& command) {
  auto arguments = std::make_shared<CheckArguments>();
  CommandDeclaration& check = command.action("check", "Hold a plug-in against the protocol", with(arguments, runCheck));
  check.argument("PATH", arguments->path, "The plug-in: a program named by its identifier").file().required();
  check.option("--working-copy", arguments->workingCopy, "Let it look at that working copy, too").folder("DIR");
  check.option("--url", arguments->url, "Ask it about that address, too").text("URL");
  check.option("--timeout", arguments->seconds, "Wait so long for each answer and each end (default: 5)")
      .text("SECONDS");
  check.checkUsage([arguments] { return whatIsWrong(*arguments); });
  return nullptr;
}

}  // namespace

extern const Command plugInCommand{
    "plug-in", "Check plug-ins that you write",
    "Starts the plug-in again and again, as a host does, and also says what no host says. Each check is one line: ok, "
    "wrong\n"
    "with the reason and the section of the protocol, not served, or skipped. Of what changes anything it is only "
    "asked,\n"
    "about an empty folder, whether it serves that. Exit status 1: something is wrong.\n\n"
    "Examples:\n"
    "  qrbscm plug-in check ./org.example.Snap\n"
    "  qrbscm plug-in check ./org.example.Snap --working-copy ~/orchard    also status, history, blame, ...\n"
    "  qrbscm plug-in check ./org.example.Snap --url https://example.org/orchard\n"
    "  qrbscm plug-in check --json ./org.example.Snap | jq '.[] | select(.result == \"wrong\")'\n",
    declarePlugIn};

}  // namespace host
