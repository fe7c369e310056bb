#include "AuthenticationPrompter.h"

#include <cstdlib>
#include <filesystem>

#include "AccountRecord.h"
#include "AuthenticationRemedy.h"
#include "ErrorPrinting.h"
#include "ProgramAccounts.h"
#include "QRBSourceControlBasicAuthenticationStrategy.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlSSHKeysAuthenticationStrategy.h"
#include "QRBSourceControlSingleRepositoryAccount.h"
#include "QRBSourceControlURL.h"
#include "RemoteFinder.h"
#include "Secrecy.h"
#include "TerminalSecret.h"
#include "Text.h"

namespace host {

namespace {

using Basic = QRBSourceControlBasicAuthenticationStrategy;
using SSHKeys = QRBSourceControlSSHKeysAuthenticationStrategy;

// As with other programs that ask: who is wrong three times needs to look it up.
constexpr int kMostAttempts = 3;

// The user that the address, or what the request was made with, names.
std::string knownUserOf(const QRBSourceControlRemoteRepositoryPtr& remote) {
  std::string user = qrbscm_user(remote->URL()).str();
  return user.empty() ? usernameOf(remote->authenticationStrategy()) : user;
}

qrb::Result<std::string> askWithDefault(const std::string& what, const std::string& preset) {
  std::string prompt = what + (preset.empty() ? "" : " [" + displayText(preset) + "]") + ": ";
  auto answer = askForLine(prompt);
  return answer && answer->empty() ? preset : answer;
}

std::string expandHome(const std::string& path) {
  const char* home = std::getenv("HOME");
  return home != nullptr && path.starts_with("~/") ? home + path.substr(1) : path;
}

}  // namespace

AuthenticationPrompter::AuthenticationPrompter(std::function<void()> onQuestion) : _onQuestion(std::move(onQuestion)) {}

void AuthenticationPrompter::handleAuthenticationFailure(const qrb::Error& error,
                                                         const QRBSourceControlRepositoryPtr& forRepository,
                                                         const std::shared_ptr<void>& context,
                                                         std::function<void(bool retry)> completionBlock) {
  auto remote = std::dynamic_pointer_cast<QRBSourceControlRemoteRepository>(forRepository);
  if (remote == nullptr) remote = std::static_pointer_cast<QRBSourceControlRemoteRepository>(context);
  if (remote == nullptr || !canAskUser()) return completionBlock(false);
  {
    std::lock_guard lock(_mutex);
    _questions.push_back({error, remote, std::move(completionBlock)});
  }
  _onQuestion();
}

bool AuthenticationPrompter::hasQuestions() const {
  std::lock_guard lock(_mutex);
  return !_questions.empty();
}

bool AuthenticationPrompter::answerQuestions() {
  std::vector<Question> questions;
  {
    std::lock_guard lock(_mutex);
    questions.swap(_questions);
  }
  for (const Question& question : questions) {
    qrb::Error stop;
    bool retry = ask(question, stop);
    if (stop) return false;
    question.answer(retry);
  }
  return true;
}

bool AuthenticationPrompter::ask(const Question& question, qrb::Error& stop) {
  const RemotePtr& remote = question.remote;
  AuthenticationRemedy remedy =
      remedyFor(question.error, remote->URL(), remote->authenticationStrategy(), remote->sourceControlSystem());
  if (remedy == AuthenticationRemedy::none) return false;
  if (remedy == AuthenticationRemedy::trust) {
    bool trusted = false;
    stop = askForTrust(question, trusted);
    return trusted;
  }
  if (_attempts[remote]++ == kMostAttempts) return false;
  if (remedy == AuthenticationRemedy::password) stop = askForPassword(question);
  if (remedy == AuthenticationRemedy::key) stop = askForKey(question);
  if (remedy == AuthenticationRemedy::passphrase) stop = askForPassphrase(remote);
  return true;
}

void AuthenticationPrompter::use(const RemotePtr& remote, const QRBSourceControlAuthenticationStrategyPtr& strategy) {
  // An account of its own, so that one that is kept stays as it is.
  auto account = QRBSourceControlSingleRepositoryAccount::initWithRepository(remote, strategy);
  account->setSavingDisabled(true);
  remote->setAccount(account);
}

qrb::Error AuthenticationPrompter::askForPassword(const Question& question) {
  const RemotePtr& remote = question.remote;
  bool isFirst = _attempts[remote] == 1;
  bool hadSecret = !secretOf(remote->authenticationStrategy()).empty();
  printRemark(isFirst && !hadSecret ? addressOf(remote) + " wants to know who you are."
                                    : displayText(question.error.localizedDescription()));
  std::string user = knownUserOf(remote);
  if (!qrbscm_user(remote->URL())) {
    auto answer = askWithDefault("User name", user);
    if (!answer) return answer.error();
    user = *std::move(answer);
  }
  std::string password;
  qrb::WipeAtEnd wiping(password);
  if (qrb::Error error = askForSecret("Password of " + displayText(user) + ": ", password)) return error;
  use(remote, Basic::initWithUsername(user, password));
  return {};
}

qrb::Error AuthenticationPrompter::askForKey(const Question& question) {
  const RemotePtr& remote = question.remote;
  printRemark(addressOf(remote) + ": " + displayText(question.error.localizedDescription()));
  std::string user = knownUserOf(remote);
  if (user.empty()) {
    auto answer = askWithDefault("User name", "");
    if (!answer) return answer.error();
    user = *std::move(answer);
  }
  auto standard = SSHKeys::defaultSSHKeyAuthenticationStrategy();
  std::string preset = standard == nullptr ? "" : standard->privateKeyFile().path().str();
  std::string file;
  std::string wanted = "Private SSH key, or \"password\"";
  while (true) {
    auto answer = askWithDefault(wanted, preset);
    if (!answer) return answer.error();
    if (*answer == "password") {
      std::string password;
      qrb::WipeAtEnd wiping(password);
      if (qrb::Error error = askForSecret("Password of " + displayText(user) + ": ", password)) return error;
      use(remote, Basic::initWithUsername(user, password));
      return {};
    }
    std::error_code failure;
    file = std::filesystem::absolute(expandHome(*answer), failure).lexically_normal().native();
    if (std::filesystem::is_regular_file(file, failure)) break;
    printRemark(displayText(file) + " is not there.");
  }
  use(remote, SSHKeys::initWithUsername(user, qrb::URL::fileURL(file), {}));
  return askForPassphrase(remote);
}

qrb::Error AuthenticationPrompter::askForPassphrase(const RemotePtr& remote) {
  auto keys = std::dynamic_pointer_cast<const SSHKeys>(remote->authenticationStrategy());
  if (keys == nullptr) return {};
  std::string passphrase;
  qrb::WipeAtEnd wiping(passphrase);
  std::string prompt = "Passphrase of " + displayText(keys->privateKeyFile().path().view());
  if (qrb::Error error = askForSecret(prompt + " (empty if it has none): ", passphrase)) return error;
  use(remote, withSecret(keys, passphrase));
  return {};
}

qrb::Error AuthenticationPrompter::askForTrust(const Question& question, bool& trusted) {
  const RemotePtr& remote = question.remote;
  std::string fingerprint = question.error.userInfo(QRBSourceControlSSHFingerprint).str();
  qrb::String longFingerprint = question.error.userInfo(QRBSourceControlSSLFingerprintSHA256);
  // A server that is trusted by another fingerprint may be somebody else by now, and one trusted by this is no better
  // for being trusted again.
  if (!remote->trustedServerFingerprint().empty()) return {};
  printRemark(displayText(question.error.localizedDescription()) + "\n" + addressOf(remote) +
              " shows the fingerprint\n  " + displayText(fingerprint) +
              (longFingerprint.empty() ? "" : "\nor, by SHA-256,\n  " + displayText(longFingerprint.view())) +
              "\nCompare it with the one that you have from whoever runs the server.");
  std::string answer;
  while (answer != "yes" && answer != "always" && answer != "no") {
    auto typed = askForLine("Trust this server? (yes, always or no): ");
    if (!typed) return typed.error();
    answer = *std::move(typed);
  }
  trusted = answer != "no";
  if (!trusted) return {};
  remote->setTrustedServerFingerprint(fingerprint);
  if (answer == "always") {
    if (qrb::Error error = accountManager()->trust(remote, fingerprint)) printError(error);
  }
  return {};
}

}  // namespace host
