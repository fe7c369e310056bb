#pragma once

#include <memory>
#include <optional>
#include <string>

#include "AskpassChannel.h"
#include "CertificateTrust.h"
#include "CredentialAnswers.h"
#include "GitNetworkSettings.h"
#include "GitTool.h"
#include "QRBSourceControlForward.h"
#include "RemoteAccess.h"

/// Runs git commands that reach one remote repository, with what a request brought to log in and to trust. Commands
/// name the repository by gitReachedRemote(). Secrets reach git and ssh through the askpass bridge alone; where the
/// request brought none, what the user has set up serves (credential helpers, agent, default keys), and nobody is
/// asked.
class GitRemoteTool {
 public:
  /// As GitTool; a null remote is told by open().
  GitRemoteTool(std::string folder, const QRBSourceControlRemoteRepositoryPtr& remote, int hostConnection);
  GitRemoteTool(const GitRemoteTool&) = delete;
  GitRemoteTool& operator=(const GitRemoteTool&) = delete;

  /// Checks the address, the key file and, where a certificate is trusted in particular, the server; to be called
  /// before the first command. No error: commands may run.
  qrb::Error open();
  /// The two halves of open(), for those who follow() a remote between them: what needs no server, and whether the
  /// server has the certificate that is trusted in particular, which its proxy may be needed for.
  qrb::Error prepare();
  qrb::Error judgeServer();
  /// Takes over what the repository's configuration says of a remote: where its branches are kept, tags, proxies.
  /// Without it nothing is kept. The remote of the request stays the one that is reached, but pushes go where the
  /// remote says.
  void follow(const GitRemoteSettings& remote);

  /// The address without a password.
  const std::string& address() const { return _access.text; }
  /// What to clone from: the address or, of a repository of this machine, its path, from which git links the objects
  /// where it can instead of copying them.
  const std::string& cloneSource() const { return _access.address.isLocalFile() ? _access.address.path : address(); }
  const qrb::RemoteAccess& access() const { return _access; }

  GitTool& tool() { return _tool; }
  /// As GitTool; the message of a failure does not say how far the command came. Nothing counts that the repository's
  /// own configuration says of programs and of the way to servers: see GitPrograms.h.
  GitOutcome run(const GitCommand& command, const GitTool::Output& onOutput = {},
                 const GitTool::Output& onError = {}) const;
  /// What a failed command means for the one who asked; none for one that succeeded. A server that is not the one of
  /// the address and wants a login is told as denied permission: no other credentials would reach it either. May ask
  /// the server for its certificate, to tell which it was.
  qrb::Error errorFor(const GitOutcome& outcome) const;
  /// Whether the server has let in who asked, though there need be no repository at the address.
  bool wasAccepted(const GitOutcome& outcome) const;

 private:
  /// What wins over the repository's own configuration.
  GitOutcome readNeutralization(GitNeutralization& result) const;
  bool findProxy(std::optional<qrb::HTTPProxy>& proxy, std::string& reason) const;
  std::optional<qrb::ServerTrust> askForCertificate(std::string& reason) const;
  void useSSH();
  qrb::Error authenticationError(const GitFailure& failure) const;
  qrb::Error certificateError(const GitFailure& failure) const;

  const QRBSourceControlRemoteRepositoryPtr _remote;
  const int _hostConnection;
  GitTool _tool;
  GitNeutralization _neutralization;
  /// What the remote's own settings say, if anything.
  std::optional<std::string> _remoteProxy;
  qrb::RemoteAccess _access;
  qrb::CredentialAnswers _answers{_access};
  qrb::AskpassChannel _channel;
};
