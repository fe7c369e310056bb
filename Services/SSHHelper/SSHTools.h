#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Error.h"
#include "SharedString.h"
#include "ToolRunner.h"

/// What a tool printed and how it ended.
struct SSHToolOutcome {
  qrb::ToolResult result;
  std::string output;

  bool succeeded() const { return result.succeeded(); }
  /// What the tool, or the failure to run it, has to say.
  std::string message() const;
};

/// Runs a tool to its end, or as far as the runner lets it, and makes it speak English.
SSHToolOutcome runSSHTool(qrb::ToolCommand& command, const qrb::ToolRunner& runner = {});

/// Runs one of ssh's tools to its end. It asks nobody anything: where it needs a passphrase it fails.
SSHToolOutcome runSSHTool(const std::string& tool, std::vector<std::string> arguments);

/// Runs a tool that asks for a passphrase `times` times, and answers it. The passphrase goes through the tool's
/// standard input to this same program, which the tool starts to ask: so it is in no argument, no environment and no
/// file.
SSHToolOutcome runSSHToolWithPassphrase(const std::string& tool, std::vector<std::string> arguments,
                                        std::string_view passphrase, int times);

/// The other end of that: when this process is what a tool started to ask, hands over one line of standard input and
/// gives the exit status; absent when it is not.
std::optional<int> answerAsPassphraseProgram(int argumentCount);

/// The longest passphrase that ssh's tools take from another program.
inline constexpr std::size_t kMostPassphraseBytes = 1023;

/// A failure that is no matter of source control: an error number of the system, and its texts.
qrb::Error systemError(int number, const std::string& description, const qrb::String& underlyingMessage = "");
