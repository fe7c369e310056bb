// qrbscm: the library at the command line.

#include <fcntl.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <system_error>

#include "AllCommands.h"
#include "ErrorPrinting.h"
#include "Interruption.h"
#include "ProgramAccounts.h"
#include "QRBSourceControlAccount.h"
#include "Text.h"

namespace host {

namespace {

constexpr const char* kFooter =
    "Exit status: 0 success, 1 the operation failed, 2 wrong usage. When it is interrupted, it tidies up and ends by "
    "the\n"
    "signal, so that a shell's loop ends too.\n\n"
    "Examples:\n"
    "  qrbscm status\n"
    "  qrbscm log -n 10 ~/orchard\n"
    "  qrbscm log --help\n";

// For the parser: what is wrong with the folder; nothing where it is one, which then is absolute.
std::string toAbsoluteFolder(std::string& directory) {
  std::error_code failure;
  auto path = std::filesystem::canonical(directory, failure);
  if (!failure && !std::filesystem::is_directory(path)) failure = std::make_error_code(std::errc::not_a_directory);
  if (failure) return directory + ": " + failure.message();
  directory = path.native();
  return {};
}

void addCommonOptions(CLI::App& app, CommonOptions& options, bool lists) {
  app.set_help_flag("-h,--help", "Show this help");
  if (lists) app.add_flag("--json", options.json, "Print one JSON array");
  app.add_flag("-v,--verbose", options.verbose, "Print also, on standard error, what plug-ins and library have to say");
  app.add_option("--plug-in-directory", options.plugInDirectories,
                 "Look there for plug-ins, before those that were installed; may be repeated")
      ->type_name("DIR")
      ->allow_extra_args(false)
      ->transform(CLI::Validator(toAbsoluteFolder, ""));
}

// The parser's own text, and what to do.
int refuse(const CLI::App& app, const CLI::ParseError& error) {
  std::string help = "qrbscm";
  for (const CLI::App* command = &app; !command->get_subcommands().empty();) {
    command = command->get_subcommands().front();
    help += " " + command->get_name();
  }
  std::string what = error.what();
  // The parser misses a command before it looks at what stands in its place.
  if (app.get_subcommands().empty() && !app.remaining().empty()) {
    what = "there is no command or option \"" + app.remaining().front() + "\"";
  }
  printRemark("qrbscm: " + displayText(what) + "\nRun \"" + help + " --help\" to see what is understood.");
  return static_cast<int>(ExitStatus::wrongUsage);
}

// A descriptor that we were started without would be given to the next thing opened, and our text would go there. In
// its place stands one that gives nothing and takes nothing.
void occupyStandardDescriptors() {
  while (true) {
    int descriptor = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (descriptor > STDERR_FILENO) ::close(descriptor);
    if (descriptor < 0 || descriptor > STDERR_FILENO) return;
  }
}

int run(int argc, char** argv) {
  occupyStandardDescriptors();
  // What a plug-in's tools leave behind comes to us, and is known to be gone as soon as it is, whatever waits for
  // orphans on this system, and however late.
  ::prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0);
  EventLoop loop;
  static Output output;  // a callback of a cancelled request may still hold it while the program ends
  CommonOptions options;
  Command::Run chosen;

  CLI::App app("Source control at the command line: one interface to several systems.", "qrbscm");
  app.set_help_flag("-h,--help", "Show this help");
  app.set_version_flag("--version", "qrbscm " QRB_VERSION, "Show the version");
  app.footer(kFooter);
  app.require_subcommand(1);
  for (const Command* command : allCommands()) {
    CLI::App* subcommand = app.add_subcommand(command->name, command->summary);
    addCommonOptions(*subcommand, options, command->lists);
    subcommand->footer(command->details);
    subcommand->callback([&chosen, run = command->declare(*subcommand)] { chosen = run; });
  }
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& wish) {
    return app.exit(wish);
  } catch (const CLI::ParseError& error) {
    return refuse(app, error);
  }
  QRBSourceControlAccount::registerAccountManager(accountManager());
  Session session(options, loop, output);
  return static_cast<int>(session.finish(chosen(session)));
}

}  // namespace

}  // namespace host

int main(int argc, char** argv) {
  int status = static_cast<int>(host::ExitStatus::failed);
  try {
    status = host::run(argc, argv);
  } catch (const std::exception& error) {
    host::printRemark("qrbscm: " + std::string(error.what()));
  }
  std::cout.flush();
  host::endIfInterrupted();
  // Without destructors: a callback of a cancelled request may still be running on another thread.
  std::_Exit(status);
}
