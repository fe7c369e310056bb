#pragma once

#include "QRBSourceControlAccount.h"

inline constexpr const char* QRBSourceControlRepositoryIdentifierKey = "QRBSourceControlRepositoryIdentifierKey";
inline constexpr const char* QRBSourceControlSystemIdentifierKey = "QRBSourceControlSystemIdentifierKey";

/// An account that serves one remote repository, which it does not keep alive.
class QRB_EXPORT QRBSourceControlSingleRepositoryAccount final : public QRBSourceControlAccount {
  QRB_OBJECT;

 public:
  /// Named after the repository and at its URL.
  static QRBSourceControlSingleRepositoryAccountPtr initWithRepository(
      const QRBSourceControlRemoteRepositoryPtr& repository,
      QRBSourceControlAuthenticationStrategyPtr authenticationStrategy);
  using QRBSourceControlAccount::QRBSourceControlAccount;

  /// Null once its owners have let it go.
  QRBSourceControlRemoteRepositoryPtr repository() const { return _repository.get().lock(); }
  void setRepository(const QRBSourceControlRemoteRepositoryPtr& repository) { _repository.set(repository); }

  /// Asks the repository's server. Null, and no answer, when the repository is gone.
  QRBSourceControlCancellablePtr validateAuthenticationWithCompletionBlock(
      QRBSourceControlCompletionBlock<> completionBlock) override;
  /// Answers at once, on this thread, with the one repository, and returns null.
  QRBSourceControlCancellablePtr listRepositoriesWithCompletionBlock(
      QRBSourceControlCompletionBlock<std::vector<QRBSourceControlRemoteRepositoryPtr>> completionBlock) override;

  qrb::Dictionary dictionaryRepresentation() const override;
  std::string description() const override;
  std::shared_ptr<qrb::Object> copy() const override;

  static std::shared_ptr<qrb::Object> initWithCoder(qrb::KeyedUnarchiver& coder);

 private:
  qrb::Atomic<std::weak_ptr<QRBSourceControlRemoteRepository>> _repository;
};
