#include "Editor.h"

#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <utility>
#include <variant>

#include "FileSystem.h"
#include "HostError.h"
#include "PrivateFolder.h"
#include "Process.h"

namespace host {

namespace {

namespace fs = std::filesystem;

std::string chosenEditor() {
  for (const char* name : {"VISUAL", "EDITOR"}) {
    const char* value = std::getenv(name);
    if (value != nullptr && *value != '\0') return value;
  }
  return "vi";
}

// An interruption was typed for the editor, which has the terminal; it is not the wish to stop us.
void forgetInterruptions() {
  sigset_t interruption;
  ::sigemptyset(&interruption);
  ::sigaddset(&interruption, SIGINT);
  timespec now{};
  while (::sigtimedwait(&interruption, nullptr, &now) > 0) {
  }
}

qrb::Error runEditor(const std::string& editor, const fs::path& file) {
  qrb::LaunchOptions options;
  options.path = "/bin/sh";
  // The variable may hold options, and the name of a file may hold anything.
  options.arguments = {"sh", "-c", editor + " \"$@\"", editor, file.native()};
  options.stdinDescriptor = STDIN_FILENO;
  options.stdoutDescriptor = STDOUT_FILENO;
  options.stderrDescriptor = STDERR_FILENO;
  auto launched = qrb::Process::launch(options);
  if (auto* failure = std::get_if<qrb::LaunchFailure>(&launched)) return hostError(failure->text);
  qrb::ExitStatus status = std::get<qrb::Process>(launched).wait();
  // Except where the editor does not take it for itself either.
  if (status != qrb::ExitStatus{qrb::ExitStatus::Kind::signalled, SIGINT}) forgetInterruptions();
  if (status.succeeded()) return {};
  return hostError("The editor \"" + editor + "\" failed: " + status.description() + ".",
                   "Set EDITOR to another one, or give the message with --message.");
}

}  // namespace

qrb::Result<std::string> editText(const std::string& text) {
  auto folder = qrb::PrivateFolder::temporary("qrbscm-");
  if (folder.path().empty()) return hostError("There is no room for a temporary file.", {}, errno);
  // Editors know by this name what kind of text it is.
  fs::path file = fs::path(folder.path()) / "COMMIT_EDITMSG";
  std::ofstream(file, std::ios::binary) << text;
  if (qrb::Error error = runEditor(chosenEditor(), file)) return error;
  auto edited = qrb::readFile(file, qrb::anySize);
  if (!edited) return hostError("What the editor left behind cannot be read.", {}, errno);
  return *std::move(edited);
}

std::string editedMessage(const std::string& text) {
  std::string result;
  std::size_t empty = 0;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with('#')) continue;
    line.erase(line.find_last_not_of(" \t\r") + 1);
    if (line.empty()) {
      ++empty;
      continue;
    }
    if (!result.empty()) result.append(empty, '\n');
    result += line + "\n";
    empty = 0;
  }
  return result;
}

}  // namespace host
