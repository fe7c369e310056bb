#include "ErrorPrinting.h"

#include <unistd.h>

#include <algorithm>
#include <string>

#include "Output.h"
#include "QRBSourceControlError.h"
#include "Text.h"
#include "URLsInText.h"

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

// As a terminal would show it: a carriage return in a line lets what follows it stand in place of what was before.
std::string withoutOverwritten(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    std::size_t end = std::min(text.find('\n'), text.size() - 1) + 1;
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end);
    std::size_t last = line.find_last_not_of("\r\n");
    std::size_t begin = last == std::string_view::npos ? 0 : line.rfind('\r', last) + 1;
    result += line.substr(begin);
  }
  return result;
}

bool wereAllShown(std::string_view text, const std::function<bool(std::string_view line)>& wasShown) {
  while (wasShown && !text.empty()) {
    std::string_view line = text.substr(0, text.find('\n'));
    if (!line.empty() && !wasShown(line)) return false;
    text.remove_prefix(std::min(line.size() + 1, text.size()));
  }
  return text.empty();
}

}  // namespace

void printError(const qrb::Error& error, const std::function<bool(std::string_view line)>& wasShown) {
  bool colour = wantsColour(STDERR_FILENO);
  std::string text = colour ? "\033[31mqrbscm:\033[0m " : "qrbscm: ";
  text += withoutTrailingSpace(displayText(error.localizedDescription()));
  if (qrb::String suggestion = error.localizedRecoverySuggestion(); !suggestion.empty()) {
    text += "\n" + withoutTrailingSpace(displayText(suggestion.view()));
  }
  qrb::String underlying = error.userInfo(QRBSourceControlUnderlyingErrorString);
  std::string said = withoutTrailingSpace(displayText(withoutOverwritten(underlying.view())));
  if (!wereAllShown(said, wasShown)) {
    text += "\n" + indented(said);
  }
  qrb::String fingerprint = error.userInfo(QRBSourceControlSSHFingerprint);
  if (!fingerprint.empty() && underlying.view().find(fingerprint.view()) == std::string_view::npos) {
    text += "\n  The server's fingerprint is " + displayText(fingerprint.view()) + ".";
  }
  // A plug-in may not have taken care of it.
  printRemark(qrb::withoutPasswordsOfURLs(text));
}

bool isSameFailure(const qrb::Error& error, const qrb::Error& other) {
  return error.domain() == other.domain() && error.code() == other.code() &&
         error.localizedDescription() == other.localizedDescription();
}

bool isCancellation(const qrb::Error& error) {
  // An action of several requests that is stopped between two of them has no more to say than that it was given up.
  constexpr std::int64_t kGivenUp = -400;
  if (error.domain().view() != QRBSourceControlErrorDomain) return false;
  return error.code() == static_cast<std::int64_t>(QRBSourceControlErrorCode::canceled) ||
         (error.code() == kGivenUp && !error.userInfo(qrb::kErrorLocalizedDescriptionKey));
}

void printRemark(std::string_view text) {
  // In one write, so that lines of several threads do not mix. There is nowhere to report that it failed.
  std::string line = std::string(text) + "\n";
  [[maybe_unused]] ssize_t written = ::write(STDERR_FILENO, line.data(), line.size());
}

}  // namespace host
