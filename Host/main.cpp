// qrbscm: the library at the command line.

#include <fcntl.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <system_error>

#include "AllCommands.h"
#include "Completion.h"
#include "ErrorPrinting.h"
#include "Interruption.h"
#include "ManualPage.h"
#include "Parsing.h"
#include "ProgramAccounts.h"
#include "QRBSourceControlAccount.h"
#include "Text.h"
#include "Version.h"

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

// What is wrong with the folder; nothing where it is one, which then is absolute.
std::string toAbsoluteFolder(std::string& directory) {
  std::error_code failure;
  auto path = std::filesystem::canonical(directory, failure);
  if (!failure && !std::filesystem::is_directory(path)) failure = std::make_error_code(std::errc::not_a_directory);
  if (failure) return directory + ": " + failure.message();
  directory = path.native();
  return {};
}

Program programWith(CommonOptions& options) {
  auto addCommonOptions = [&options](CommandDeclaration& declaration, bool lists) {
    if (lists) declaration.flag("--json", options.json, "Print one JSON array");
    declaration.flag("-v,--verbose", options.verbose,
                     "Print also, on standard error, what plug-ins and library have to say");
    declaration
        .option("--plug-in-directory", options.plugInDirectories,
                "Look there for plug-ins, before those that were installed; may be repeated")
        .folder("DIR")
        .checkedBy(toAbsoluteFolder);
  };
  return {"qrbscm",
          "qrbscm " QRB_VERSION_STRING,
          "Source control at the command line: one interface to several systems.",
          kFooter,
          allCommands(),
          addCommonOptions};
}

// What shells and the build ask, which is no command: the completion of words, and the manual from the page named.
bool isAsked(const Program& program, char** word, char** end) {
  std::string question = *word++;
  if (question == "__complete") {
    writeCompletions(std::cout, program, std::vector<std::string>(word, end));
    return true;
  }
  if (question != "__manual" || word == end) return false;
  std::ifstream page(*word);
  if (!page) throw std::runtime_error(std::string(*word) + " cannot be read");
  writeManualPage(std::cout, program, page);
  return true;
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
  Program program = programWith(options);
  if (argc > 1 && isAsked(program, argv + 1, argv + argc)) return static_cast<int>(ExitStatus::success);
  ParsedCommandLine line = parseCommandLine(program, argc, argv);
  if (!line.wrong.empty()) {
    printRemark("qrbscm: " + line.wrong);
    return static_cast<int>(ExitStatus::wrongUsage);
  }
  if (!line.run) {
    std::cout << line.answer;
    return static_cast<int>(ExitStatus::success);
  }
  QRBSourceControlAccount::registerAccountManager(accountManager());
  Session session(options, loop, output);
  return static_cast<int>(session.finish(line.run(session)));
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
