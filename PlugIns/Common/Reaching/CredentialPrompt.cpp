#include "CredentialPrompt.h"

namespace qrb {
namespace {

using Kind = CredentialPrompt::Kind;

/// The text between a beginning and an end; both must be there.
bool isBetween(std::string_view text, std::string_view begin, std::string_view end, std::string& subject) {
  if (text.size() < begin.size() + end.size() || !text.starts_with(begin) || !text.ends_with(end)) return false;
  subject = text.substr(begin.size(), text.size() - begin.size() - end.size());
  return true;
}

}  // namespace

CredentialPrompt CredentialPrompt::parse(std::string_view text) {
  CredentialPrompt prompt;
  auto read = [&](Kind asked, std::string_view begin, std::string_view end) {
    if (!isBetween(text, begin, end, prompt.subject)) return false;
    prompt.kind = asked;
    return true;
  };
  bool isKnown = read(Kind::username, "Username for '", "': ") || read(Kind::password, "Password for '", "': ") ||
                 read(Kind::passphrase, "Enter passphrase for key '", "': ") ||
                 read(Kind::sSHPassword, "(", ") Password: ") || read(Kind::sSHPassword, "", "'s password: ");
  // A server chooses the words after its prefix; names hold none of these.
  bool isOneName = prompt.kind != Kind::sSHPassword || prompt.subject.find_first_of(" ()\r\n") == std::string::npos;
  return isKnown && isOneName ? prompt : CredentialPrompt();
}

}  // namespace qrb
