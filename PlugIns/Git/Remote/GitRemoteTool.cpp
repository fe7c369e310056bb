#include "GitRemoteTool.h"

#include "Errors.h"
#include "GitErrors.h"
#include "GitNames.h"
#include "GitNetworkCommands.h"
#include "GitProgress.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlRemoteRepository.h"
#include "SSHCommand.h"

namespace {

using Kind = qrb::RemoteAccess::Kind;

/// The user's own way of starting ssh, if the environment of the host tells one; it has to take ssh's options. Settings
/// of the repository do not count here: they may have come with a repository of somebody else.
std::string sshProgram() {
  const char* command = std::getenv("GIT_SSH_COMMAND");
  if (command != nullptr && *command != '\0') return command;
  const char* program = std::getenv("GIT_SSH");
  if (program != nullptr && *program != '\0') return qrb::shellCommand("", {program}).substr(1);
  return "ssh";
}

}  // namespace

GitRemoteTool::GitRemoteTool(std::string folder, const QRBSourceControlRemoteRepositoryPtr& remote, int hostConnection)
    : _remote(remote),
      _hostConnection(hostConnection),
      _tool(std::move(folder), hostConnection),
      _access(remote ? qrb::RemoteAccess::of(*remote) : qrb::RemoteAccess()),
      _channel([this](const qrb::AskpassQuestion& question) { return _answers.answer(question); }) {}

qrb::Error GitRemoteTool::open() {
  if (!_remote) return QRBSourceControlError_RemoteRepositoryNotFound("No remote repository was given.");
  if (qrb::Error error = gitRefuseURL(_remote->URL())) return error;
  if (qrb::Error error = _access.fault()) return error;
  if (!_channel.isOpen()) {
    return qrb::errorWithMessage(QRBSourceControlError_SystemUnusable(),
                                 "No socket could be made for what git may ask.");
  }
  for (auto& [name, value] : _channel.environment()) _tool.addVariable(name, value);
  _tool.setSideChannel(_channel.descriptor(), [this] { _channel.serve(); });
  _tool.addSetting("remote." + gitReachedRemote() + ".url=" + _access.text);
  // Helpers know other users of the same server, and would keep what the request brought.
  if (_access.kind == Kind::password) _tool.addSetting("credential.helper=");
  // Or the one user's that the request names.
  if (_access.kind == Kind::none && !_access.user.empty()) _tool.addSetting("credential.username=" + _access.user);
  // Helpers are not to ask the user. The setting of that meaning would keep later versions of git from asking here.
  _tool.addVariable("GCM_INTERACTIVE", "never");
  // Long work shows from its beginning.
  _tool.addVariable("GIT_PROGRESS_DELAY", "0");
  // For reflogs, which would show the whole command.
  _tool.addVariable("GIT_REFLOG_ACTION", "fetch");
  useSSH();
  GitNeutralization neutralization;
  if (GitOutcome outcome = readNeutralization(neutralization); !outcome) return errorFor(outcome);
  bool isTrusted = _access.address.scheme == "https" && !_access.trustedFingerprint.empty();
  if (qrb::Error error = isTrusted ? trustCertificate(neutralization.settings) : qrb::Error()) return error;
  _tool.setNeutralization(std::move(neutralization));
  return {};
}

GitOutcome GitRemoteTool::readNeutralization(GitNeutralization& result) const {
  std::string listing;
  GitOutcome outcome = _tool.findPrograms(listing);
  if (!outcome) return outcome;
  result = gitNeutralizePrograms(listing);
  // A proxy sees nothing of a protected connection, and may be the only way out.
  if (_access.address.scheme != "http") {
    std::erase_if(result.settings, [](const auto& setting) { return setting.first.ends_with(".proxy"); });
  }
  return outcome;
}

GitOutcome GitRemoteTool::run(const GitCommand& command, const GitTool::Output& onOutput,
                              const GitTool::Output& onError) const {
  GitOutcome outcome = _tool.run(command, onOutput, onError);
  outcome.failure.message = gitWithoutProgress(outcome.failure.message);
  return outcome;
}

/// Whatever the address is, a setting may lead from there to ssh; then it gets nothing that the request brought.
void GitRemoteTool::useSSH() {
  std::string program = sshProgram();
  const qrb::RemoteAccess& access = _access.address.isSSH() ? _access : qrb::RemoteAccess();
  _tool.addVariable("GIT_SSH_COMMAND", qrb::shellCommand(program, qrb::sshArguments(access, qrb::askpassProgram())));
  if (program == "ssh") _tool.addVariable("GIT_SSH_VARIANT", "ssh");
}

std::optional<qrb::ServerCertificate> GitRemoteTool::certificate(std::string& reason) const {
  qrb::ToolRunner runner;
  runner.setHostConnectionDescriptor(_hostConnection);
  return qrb::ServerCertificate::of(_access.address, runner, reason);
}

/// The certificate is compared here, since git knows no fingerprints; then git takes a connection to the holder of that
/// certificate's key for good, and no other.
qrb::Error GitRemoteTool::trustCertificate(GitNeutralization::Pairs& settings) const {
  std::string reason;
  auto shown = certificate(reason);
  if (!shown) return QRBSourceControlError_RemoteRepositoryNotFound(reason);
  if (shown->hasFingerprint(_access.trustedFingerprint)) {
    // Nothing fits an address better than itself, and of what fits as well the last counts.
    std::string section = "http." + _access.text + ".";
    settings.emplace_back(section + "sslVerify", "false");
    settings.emplace_back(section + "pinnedPubkey", shown->pin);
    return {};
  }
  // Then it is for the authorities that the user trusts to say.
  if (!_access.isFingerprintEnforced) return {};
  return qrb::errorWithFingerprint(QRBSourceControlError_AuthenticationSSLCertificateInvalid(
                                       "The server's certificate is not the trusted one. It has the fingerprint " +
                                       shown->fingerprint + " and is for " + shown->name + "."),
                                   shown->fingerprint);
}

bool GitRemoteTool::wasAccepted(const GitOutcome& outcome) const {
  if (outcome) return true;
  if (!outcome.failedWith(GitFailureKind::remoteNotFound)) return false;
  // Over SSH one has to log in to be told anything.
  bool isAnyone = _access.kind == Kind::none && _access.user.empty();
  return _answers.gaveSecret() || _access.address.isSSH() || isAnyone;
}

void GitRemoteTool::follow(const GitRemoteSettings& remote) {
  std::string section = "remote." + gitReachedRemote() + ".";
  for (const std::string& rule : remote.fetchRules) _tool.addSetting(section + "fetch=" + rule);
  for (const auto& [variable, value] : remote.settings) {
    if (_access.address.scheme == "http" && variable.starts_with("proxy")) continue;
    _tool.addSetting(section + variable + "=" + value);
  }
  for (const std::string& url : remote.pushURLs) {
    if (gitAddressFault(url).empty()) _tool.addSetting(section + "pushurl=" + qrb::addressWithoutPassword(url));
  }
}

qrb::Error GitRemoteTool::errorFor(const GitOutcome& outcome) const {
  if (outcome.kind != GitOutcome::Kind::failed) return gitError(outcome, GitSubject::repository, {});
  const GitFailure& failure = outcome.failure;
  switch (failure.kind) {
    case GitFailureKind::authenticationFailed:
      return authenticationError(failure);
    case GitFailureKind::keyInvalid:
      return QRBSourceControlError_AuthenticationSSHKeyInvalid(qrb::URL::fileURL(_access.keyFile));
    case GitFailureKind::hostKeyUnverified:
      return QRBSourceControlError_AuthenticationSSHFingerprintInvalid(failure.message, _answers.hostFingerprint());
    case GitFailureKind::certificateInvalid:
      return certificateError(failure);
    case GitFailureKind::notARepository:
      return QRBSourceControlError_RemoteRepositoryNotFound(failure.message);
    default:
      return gitError(outcome, GitSubject::repository, _remote ? _remote->displayName() : qrb::String());
  }
}

/// Whoever asks the user for a new password has to know whether there was one, and whether one would help.
qrb::Error GitRemoteTool::authenticationError(const GitFailure& failure) const {
  if (!_answers.foreignServer().empty()) {
    return QRBSourceControlError_AuthenticationPermissionDenied(
        _access.text + " leads to another server, " + _answers.foreignServer() +
        ", which wants a login of its own. Use its address instead if you trust it.\n" + failure.message);
  }
  bool wasTried = _answers.gaveSecret() || (_access.address.isSSH() && _access.kind != Kind::none);
  if (wasTried) return QRBSourceControlError_AuthenticationCredentialsInvalid(failure.message);
  return qrb::errorWithMessage(QRBSourceControlError_AuthenticationStrategyUnsupported(), failure.message);
}

qrb::Error GitRemoteTool::certificateError(const GitFailure& failure) const {
  qrb::Error error = QRBSourceControlError_AuthenticationSSLCertificateInvalid(failure.message);
  std::string reason;
  auto shown = certificate(reason);
  return shown ? qrb::errorWithFingerprint(error, shown->fingerprint) : error;
}
