#include "SSHUpload.h"

#include <cerrno>
#include <string>
#include <vector>

#include "AskpassChannel.h"
#include "CredentialAnswers.h"
#include "Localization.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlRemoteRepository.h"
#include "RemoteAccess.h"
#include "SSHAddress.h"
#include "SSHCommand.h"
#include "SSHKeyFiles.h"
#include "SSHTools.h"

using qrb::Error;
using qrb::RemoteAccess;
using qrb::String;
using qrb::URL;

namespace {

// Run by the login shell of any user, so a plain sh does the work. The file may lack its last line's end.
constexpr const char* kAuthorizeCommand =
    "exec sh -c 'umask 077; cd \"$HOME\" && mkdir -p .ssh && read -r key && file=.ssh/authorized_keys && "
    "{ grep -qsxF -e \"$key\" \"$file\" || "
    "{ { [ ! -s \"$file\" ] || [ -z \"$(tail -c 1 \"$file\")\" ] || echo >>\"$file\"; } && "
    "printf \"%s\\n\" \"$key\" >>\"$file\"; }; }'";

// The exit status of an ssh that comes no further; otherwise it has that of the command at the far side.
constexpr int kOwnFailure = 255;

// "user@host: Permission denied (publickey,password).": ssh's own words for a login that is refused. Programs of the
// far side say by the same words that a file is.
bool isLoginRefused(const SSHToolOutcome& outcome) {
  using Kind = qrb::ExitStatus::Kind;
  if (outcome.result.status != qrb::ExitStatus{Kind::exited, kOwnFailure}) return false;
  std::string_view text = outcome.result.errorText;
  if (text.find("Too many authentication failures") != std::string_view::npos) return true;
  constexpr std::string_view kWords = ": Permission denied (";
  for (std::size_t place = text.find(kWords); place != std::string_view::npos; place = text.find(kWords, place)) {
    place += kWords.size();
    std::size_t end = text.find_first_not_of("abcdefghijklmnopqrstuvwxyz-,", place);
    if (end != std::string_view::npos && text.substr(end).starts_with(").")) return true;
  }
  return false;
}

Error failureOf(const SSHToolOutcome& outcome, const qrb::CredentialAnswers& answers) {
  std::string message = outcome.message();
  if (message.find("Host key verification failed") != std::string::npos) {
    return QRBSourceControlError_AuthenticationSSHFingerprintInvalid(String(message),
                                                                     String(answers.hostFingerprint()));
  }
  if (isLoginRefused(outcome)) return QRBSourceControlError_AuthenticationCredentialsInvalid(String(message));
  bool isSilent = outcome.result.outcome == qrb::ToolResult::Outcome::tookTooLong ||
                  message.find(" not responding.") != std::string::npos;
  if (isSilent) return systemError(ETIMEDOUT, qrb::localized("The server stopped answering."), String(message));
  return systemError(EIO, qrb::localized("The SSH key could not be uploaded."), String(message));
}

// What is to log in: the user who is asked for; of another one the password is not told.
RemoteAccess accessTo(const URL& server, const String& username) {
  RemoteAccess access = RemoteAccess::of(*QRBSourceControlRemoteRepository::initUnsavedWithURL(server, nullptr));
  if (username.empty() || username.view() == access.user) return access;
  access.user = username.str();
  access.kind = RemoteAccess::Kind::none;
  access.secret = {};
  return access;
}

Error upload(const URL& folder, const URL& server, const RemoteAccess& access, const SSHUploadLimits& limits) {
  auto address = SSHAddress::parse(server.withoutPassword());
  if (!address || (!access.user.empty() && !SSHAddress::isSafeName(access.user))) {
    return QRBSourceControlError_InvalidURL(server, "SSH", "");
  }
  std::string path = folder.isFileURL() ? folder.path().str() : std::string();
  auto key = publicSSHKeyInFolder(path);
  if (!key) return QRBSourceControlError_AuthenticationSSHPublicKeyNotFound(folder.appendingPathComponent("id_rsa"));
  if (Error fault = access.fault()) return fault;
  qrb::CredentialAnswers answers(access);
  qrb::AskpassChannel channel([&](const qrb::AskpassQuestion& question) { return answers.answer(question); });
  if (!channel.isOpen()) {
    return systemError(EMFILE, qrb::localized("The SSH key could not be uploaded."),
                       "No socket could be made for what ssh may ask.");
  }
  qrb::ToolCommand command;
  command.path = "ssh";
  command.environment = channel.environment();
  command.standardInput = *key + "\n";
  command.arguments = qrb::sshArguments(access, qrb::askpassProgram());
  command.arguments.insert(command.arguments.end(),
                           {"-T", "-o", "ServerAliveInterval=" + std::to_string(limits.silence.count()), "-o",
                            "ServerAliveCountMax=" + std::to_string(limits.silences)});
  // Said already.
  address->user.clear();
  for (std::string& argument : address->arguments()) command.arguments.push_back(std::move(argument));
  command.arguments.push_back(kAuthorizeCommand);
  qrb::ToolRunner runner;
  runner.setSideChannel(channel.descriptor(), [&] { channel.serve(); });
  runner.setTimeLimit(limits.overall);
  SSHToolOutcome outcome = runSSHTool(command, runner);
  return outcome.succeeded() ? Error() : failureOf(outcome, answers);
}

}  // namespace

Error uploadPublicSSHKey(const URL& folder, const URL& server, const String& username, const SSHUploadLimits& limits) {
  return upload(folder, server, accessTo(server, username), limits);
}

Error uploadPublicSSHKey(const URL& folder, const QRBSourceControlRemoteRepository& toServerOf,
                         const SSHUploadLimits& limits) {
  return upload(folder, toServerOf.URL(), RemoteAccess::of(toServerOf), limits);
}
