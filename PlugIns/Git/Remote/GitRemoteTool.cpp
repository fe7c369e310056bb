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
  qrb::Error error = prepare();
  return error ? error : judgeServer();
}

qrb::Error GitRemoteTool::prepare() {
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
  if (GitOutcome outcome = readNeutralization(_neutralization); !outcome) return errorFor(outcome);
  _tool.setNeutralization(_neutralization);
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

/// As git itself finds its way: by the setting of the remote, else by the one that fits the address best, else by the
/// environment.
bool GitRemoteTool::findProxy(std::optional<qrb::HTTPProxy>& proxy, std::string& reason) const {
  std::optional<std::string> configured = _remoteProxy;
  if (!configured) {
    std::string value;
    GitOutcome outcome = _tool.run(gitProxyCommand(_access.text), value);
    if (outcome) {
      configured = value;
    } else if (outcome.exitCode != 1) {
      reason = outcome.failure.message;
      return false;
    }
  }
  return qrb::HTTPProxy::parse(qrb::proxyForServer(_access.address.host, configured), proxy, reason);
}

std::optional<qrb::ServerTrust> GitRemoteTool::askForCertificate(std::string& reason) const {
  std::optional<qrb::HTTPProxy> proxy;
  if (!findProxy(proxy, reason)) return std::nullopt;
  return qrb::trustOfServer(_access.address, std::move(proxy), _hostConnection, reason);
}

/// The certificate is judged here, since git knows no fingerprints; then git takes a connection to the holder of that
/// certificate's key for good, and no other.
qrb::Error GitRemoteTool::judgeServer() {
  if (_access.address.scheme != "https" || _access.trustedFingerprint.empty()) return {};
  std::string reason;
  auto trust = askForCertificate(reason);
  if (!trust) return QRBSourceControlError_RemoteRepositoryNotFound(reason);
  bool isTheOne = trust->hasFingerprint(_access.trustedFingerprint);
  if (isTheOne && qrb::isAcceptable(*trust, _access)) {
    // Nothing fits an address better than itself, and of what fits as well the last counts.
    std::string section = "http." + _access.text + ".";
    _neutralization.settings.emplace_back(section + "sslVerify", "false");
    _neutralization.settings.emplace_back(section + "pinnedPubkey", trust->pin);
    _tool.setNeutralization(_neutralization);
    return {};
  }
  // Another certificate, where another may do: then it is for the authorities that the user trusts to say.
  if (!_access.isFingerprintEnforced && trust->verdict() != qrb::TrustVerdict::fatalFailure) return {};
  return qrb::untrustedCertificateError(
      *trust, isTheOne ? "The server's certificate is the trusted one, but cannot be trusted any more."
                       : "The server's certificate is not the trusted one.");
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
    if (variable == "proxy") _remoteProxy = value;
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
  std::string reason;
  if (auto trust = askForCertificate(reason)) return qrb::untrustedCertificateError(*trust, failure.message);
  return QRBSourceControlError_AuthenticationSSLCertificateInvalid(failure.message + "\n" + reason);
}
