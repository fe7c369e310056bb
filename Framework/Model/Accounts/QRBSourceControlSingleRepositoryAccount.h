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
  /// Leaves name, URL and strategy as they are; null is taken.
  void setRepository(const QRBSourceControlRemoteRepositoryPtr& repository) { _repository.set(repository); }

  /// Asks the repository's server. Null, and no answer, when the repository is gone.
  QRBSourceControlCancellablePtr validateAuthenticationWithCompletionBlock(
      QRBSourceControlCompletionBlock<> completionBlock) override;
  /// Answers at once, on this thread, with the one repository, and returns null.
  QRBSourceControlCancellablePtr listRepositoriesWithCompletionBlock(
      QRBSourceControlCompletionBlock<std::vector<QRBSourceControlRemoteRepositoryPtr>> completionBlock) override;

  /// An account's, and the repository's identifier and system where the repository is there and has them.
  qrb::Dictionary dictionaryRepresentation() const override;
  std::string description() const override;
  /// As an account's, for the same repository.
  std::shared_ptr<qrb::Object> copy() const override;

  /// As an account's. The repository is not archived: one that is decoded with its account sets itself.
  static std::shared_ptr<qrb::Object> initWithCoder(qrb::KeyedUnarchiver& coder);

 private:
  qrb::Atomic<std::weak_ptr<QRBSourceControlRemoteRepository>> _repository;
};
