#include "ErrorPrinting.h"

#include <unistd.h>

#include <string>

#include "Output.h"
#include "QRBSourceControlError.h"
#include "Text.h"

namespace host {

namespace {

std::string withoutTrailingSpace(std::string text) {
  while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) text.pop_back();
  return text;
}

std::string indented(std::string_view text) {
  std::string result = "  ";
  for (char character : text) {
    result += character;
    if (character == '\n') result += "  ";
  }
  return result;
}

}  // namespace

void printError(const qrb::Error& error) {
  bool colour = wantsColour(STDERR_FILENO);
  std::string text = colour ? "\033[31mqrbscm:\033[0m " : "qrbscm: ";
  text += withoutTrailingSpace(displayText(error.localizedDescription()));
  if (qrb::String suggestion = error.localizedRecoverySuggestion(); !suggestion.empty()) {
    text += "\n" + withoutTrailingSpace(displayText(suggestion.view()));
  }
  qrb::String underlying = error.userInfo(QRBSourceControlUnderlyingErrorString);
  if (std::string said = withoutTrailingSpace(displayText(underlying.view())); !said.empty()) {
    text += "\n" + indented(said);
  }
  qrb::String fingerprint = error.userInfo(QRBSourceControlSSHFingerprint);
  if (!fingerprint.empty() && underlying.view().find(fingerprint.view()) == std::string_view::npos) {
    text += "\n  The server's fingerprint is " + displayText(fingerprint.view()) + ".";
  }
  printRemark(text);
}

void printRemark(std::string_view text) {
  // In one write, so that lines of several threads do not mix. There is nowhere to report that it failed.
  std::string line = std::string(text) + "\n";
  [[maybe_unused]] ssize_t written = ::write(STDERR_FILENO, line.data(), line.size());
}

}  // namespace host
