#include "SSHTools.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "Localization.h"
#include "OwnProgram.h"
#include "QRBSourceControlError.h"
#include "Secrecy.h"

std::string SSHToolOutcome::message() const {
  return result.complaint("The SSH program");
}

SSHToolOutcome runSSHTool(qrb::ToolCommand& command, const qrb::ToolRunner& runner) {
  command.environment.emplace_back("LC_ALL", "C");
  SSHToolOutcome outcome;
  outcome.result = runner.run(command, [&](std::string_view chunk) {
    outcome.output += chunk;
    return true;
  });
  return outcome;
}

SSHToolOutcome runSSHTool(const std::string& tool, std::vector<std::string> arguments) {
  qrb::ToolCommand command;
  command.path = tool;
  command.arguments = std::move(arguments);
  command.environment = {{"SSH_ASKPASS_REQUIRE", "never"}};
  command.unsetEnvironment = {"SSH_ASKPASS", "DISPLAY"};
  return runSSHTool(command);
}

SSHToolOutcome runSSHToolWithPassphrase(const std::string& tool, std::vector<std::string> arguments,
                                        std::string_view passphrase, int times) {
  qrb::ToolCommand command;
  command.path = tool;
  command.arguments = std::move(arguments);
  command.environment = {{"SSH_ASKPASS", qrb::ownProgram()}, {"SSH_ASKPASS_REQUIRE", "force"}};
  command.standardInput.reserve(static_cast<std::size_t>(times) * (passphrase.size() + 1));
  for (int time = 0; time < times; ++time) command.standardInput.append(passphrase).append("\n");
  SSHToolOutcome outcome = runSSHTool(command);
  qrb::wipe(command.standardInput);
  return outcome;
}

std::optional<int> answerAsPassphraseProgram(int argumentCount) {
  struct stat info {};
  // The tool gives its question as the one argument. A host gives none, and a socket for a standard input.
  if (argumentCount != 2 || ::fstat(STDIN_FILENO, &info) != 0 || !S_ISFIFO(info.st_mode)) return std::nullopt;
  qrb::forbidCoreFiles();
  std::string line;
  line.reserve(kMostPassphraseBytes + 2);
  char character = 0;
  // Byte by byte: what follows the line is for the next question.
  while (line.size() <= kMostPassphraseBytes && ::read(STDIN_FILENO, &character, 1) == 1 && character != '\n') {
    line += character;
  }
  line += '\n';
  bool isPrinted = ::write(STDOUT_FILENO, line.data(), line.size()) == static_cast<ssize_t>(line.size());
  qrb::wipe(line);
  return isPrinted ? 0 : 1;
}

qrb::Error systemError(int number, const std::string& description, const qrb::String& underlyingMessage) {
  qrb::String underlying = underlyingMessage.empty() ? qrb::String(::strerrordesc_np(number)) : underlyingMessage;
  return qrb::Error(
      qrb::kGeneralErrorDomain, number,
      {{qrb::kErrorLocalizedDescriptionKey, description}, {QRBSourceControlUnderlyingErrorString, underlying}});
}
