#include "QRBSourceControlSingleRepositoryAccount.h"

#include "Localization.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlSystem.h"
#include "QRBSourceControlURL.h"

using Account = QRBSourceControlSingleRepositoryAccount;

QRB_DEFINE_OBJECT(QRBSourceControlSingleRepositoryAccount, QRBSourceControlAccount,
                  "QRBSourceControlSingleRepositoryAccount", &Account::initWithCoder);

QRBSourceControlSingleRepositoryAccountPtr Account::initWithRepository(
    const QRBSourceControlRemoteRepositoryPtr& repository,
    QRBSourceControlAuthenticationStrategyPtr authenticationStrategy) {
  auto account = std::make_shared<Account>(Key());
  qrb::URL url = repository == nullptr ? qrb::URL() : repository->URL();
  account->build(qrbscm_lastPathComponentNoExtension(url.withoutPassword()), url, std::move(authenticationStrategy),
                 true);
  account->setRepository(repository);
  return account;
}

QRBSourceControlCancellablePtr Account::validateAuthenticationWithCompletionBlock(
    QRBSourceControlCompletionBlock<> completionBlock) {
  QRBSourceControlRemoteRepositoryPtr served = repository();
  if (served == nullptr) return nullptr;
  return served->validateAuthenticationForLocation(nullptr, nullptr, std::move(completionBlock));
}

QRBSourceControlCancellablePtr Account::listRepositoriesWithCompletionBlock(
    QRBSourceControlCompletionBlock<std::vector<QRBSourceControlRemoteRepositoryPtr>> completionBlock) {
  if (!completionBlock) return nullptr;
  std::vector<QRBSourceControlRemoteRepositoryPtr> repositories;
  if (QRBSourceControlRemoteRepositoryPtr served = repository()) repositories.push_back(std::move(served));
  completionBlock(repositories, {});
  return nullptr;
}

qrb::Dictionary Account::dictionaryRepresentation() const {
  auto dictionary = QRBSourceControlAccount::dictionaryRepresentation();
  QRBSourceControlRemoteRepositoryPtr served = repository();
  if (served == nullptr) return dictionary;
  if (qrb::String identifier = served->identifier()) {
    dictionary[QRBSourceControlRepositoryIdentifierKey] = identifier.str();
  }
  QRBSourceControlSystemPtr system = served->sourceControlSystem();
  if (system != nullptr && system->plugInIdentifier()) {
    dictionary[QRBSourceControlSystemIdentifierKey] = system->plugInIdentifier().str();
  }
  return dictionary;
}

std::string Account::description() const {
  return qrb::format("Single Repo %@", {QRBSourceControlAccount::description()});
}

std::shared_ptr<qrb::Object> Account::copy() const {
  auto account = std::make_shared<Account>(Key());
  account->buildLike(*this);
  account->setRepository(repository());
  return account;
}

std::shared_ptr<qrb::Object> Account::initWithCoder(qrb::KeyedUnarchiver& coder) {
  auto account = std::make_shared<Account>(Key());
  account->decode(coder);
  return account;
}
