#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <vector>

#include "QRBSourceControlManager.h"
#include "QRBSourceControlRemoteRepository.h"

namespace host {

/// Asks the user on the terminal when a server refuses a request: for a user name and a password, for a key and its
/// passphrase, or whether to trust the server. What is typed is used for this run and kept nowhere, except that the
/// user may have the trust in a server kept with the accounts. Where nobody can be asked the request fails as it did.
class AuthenticationPrompter final : public QRBSourceControlAuthenticationFailureHandler {
 public:
  /// `onQuestion` is told, on any thread, that the main thread is to call answerQuestions.
  explicit AuthenticationPrompter(std::function<void()> onQuestion);

  /// The context, where there is one, is the remote repository that a request on another repository reaches.
  void handleAuthenticationFailure(const qrb::Error& error, const QRBSourceControlRepositoryPtr& forRepository,
                                   const std::shared_ptr<void>& context,
                                   std::function<void(bool retry)> completionBlock) override;

  bool hasQuestions() const;
  /// Asks what is to be asked, and lets the requests go on. Main thread, with nothing else on the terminal. False when
  /// the user would rather stop: what is left unanswered is to be cancelled.
  bool answerQuestions();

 private:
  using RemotePtr = QRBSourceControlRemoteRepositoryPtr;
  struct Question {
    qrb::Error error;
    RemotePtr remote;
    std::function<void(bool retry)> answer;
  };

  /// Whether it is worth another try; the error where the user wants to stop or cannot be asked.
  bool ask(const Question& question, qrb::Error& stop);
  qrb::Error askForPassword(const Question& question);
  qrb::Error askForKey(const Question& question);
  qrb::Error askForPassphrase(const RemotePtr& remote);
  qrb::Error askForTrust(const Question& question, bool& trusted);
  static void use(const RemotePtr& remote, const QRBSourceControlAuthenticationStrategyPtr& strategy);

  const std::function<void()> _onQuestion;
  mutable std::mutex _mutex;
  std::vector<Question> _questions;
  // Main thread: how often the user has been asked about a remote, which is held so that no other takes its place.
  std::map<RemotePtr, int> _attempts;
};

}  // namespace host
