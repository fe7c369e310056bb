#include "consumer.h"

#include <filesystem>
#include <fstream>

namespace {

QRBSourceControlSystemPtr git() {
  return QRBSourceControlSystem::systemWithIdentifier(QRBSourceControlGitPlugInIdentifier);
}

void useSystems() {
  auto system = git();
  expect(system->isUsable() && system->plugInIdentifier() == QRBSourceControlGitPlugInIdentifier &&
             system->workingCopyFolderIdentifier() == ".git" && !system->nonLegacyIdentifier(),
         "a system has names");
  expect(system->hasLocalRepository() && system->supportsMultipleRemoteRepositories() &&
             !system->supportsPathLocation() && !system->repositoryURLIncludesSubpath() &&
             !system->requiresLocationsForBranchesAndTags(),
         "a system says what it can");
  expect((system->supportedAuthenticationTypes() & QRBSourceControlAuthenticationTypeBasic) != 0 &&
             !system->URLHintStrings().empty() && !system->additionalRequests().empty(),
         "a system says how to reach its servers");
  expect(QRBSourceControlSystem::systemWithIdentifier(QRBSourceControlSubversionPlugInIdentifier) != nullptr,
         "a system that is missing has a placeholder");
}

// The login that a host finds for a server, as a host's own account manager does.
class Accounts final : public QRBSourceControlAccountManager {
 public:
  void accountChanged(const QRBSourceControlAccountPtr&, const qrb::String&) override {}
  QRBSourceControlAccountPtr existingAccountForRepository(const QRBSourceControlRemoteRepositoryPtr&,
                                                          const QRBSourceControlAuthenticationStrategyPtr&,
                                                          bool) override {
    return _account;
  }
  qrb::String existingFingerprintForRepository(const QRBSourceControlRemoteRepositoryPtr&) override { return "F"; }
  void addAccount(const QRBSourceControlAccountPtr& account) override { _account = account; }
  QRBSourceControlRemoteRepositoryPtr knownRepositoryForURL(const qrb::URL&,
                                                            const QRBSourceControlSystemPtr&) override {
    return nullptr;
  }
  QRBSourceControlAccountPtr existingAccountLikeAccount(const QRBSourceControlAccountPtr& account, bool) override {
    return account;
  }

 private:
  QRBSourceControlAccountPtr _account;
};

class FailureHandler final : public QRBSourceControlAuthenticationFailureHandler {
 public:
  void handleAuthenticationFailure(const qrb::Error&, const QRBSourceControlRepositoryPtr&,
                                   const std::shared_ptr<void>&,
                                   std::function<void(bool retry)> completionBlock) override {
    completionBlock(false);
  }
};

void useAccounts() {
  auto basic = QRBSourceControlBasicAuthenticationStrategy::initWithUsername("jo", "secret");
  expect(basic->type() == QRBSourceControlAuthenticationTypeBasic && basic->username() == "jo" &&
             !basic->usernameDefinedFromURL() && !basic->passwordDefinedFromURL(),
         "a login has its parts");
  auto keys = QRBSourceControlSSHKeysAuthenticationStrategy::initWithUsername("jo", qrb::URL::fileURL("/k"), "phrase");
  expect(keys->privateKeyFile().path() == "/k" && keys->privateKeyPassword() == "phrase", "keys have their parts");
  expect(QRBSourceControlAuthenticationStrategy::sharedAnonymousStrategy()->type() ==
             QRBSourceControlAuthenticationTypeAnonymous,
         "anonymity is a strategy too");

  auto accounts = std::make_shared<Accounts>();
  QRBSourceControlAccount::registerAccountManager(accounts);
  auto account = QRBSourceControlAccount::initWithName("name", qrb::URL("https://example.com"), basic);
  accounts->addAccount(account);
  account->setEnabled(true);
  expect(account->enabled() && account->accountName() == "name" && account->hostURL().host() == "example.com" &&
             account->authenticationStrategy() == basic,
         "an account has its parts");
  const qrb::Dictionary kept = account->dictionaryRepresentation();
  expect(kept[QRBSourceControlAccountNameKey].string() == "name" && kept.contains(QRBSourceControlAccountURLKey) &&
             kept[QRBSourceControlAccountUsernameKey].string() == "jo" &&
             kept[QRBSourceControlAccountAuthTypeKey].integer() == 2 &&
             !kept.contains(QRBSourceControlAccountSSHKeyPath),
         "an account is kept without its secret");
  auto remote = QRBSourceControlRemoteRepository::initWithURL(qrb::URL("https://example.com/x"), git());
  expect(remote->account() == account && remote->trustedServerFingerprint() == "F",
         "the account manager is asked for a new repository");
  remote->setAccount(account);
  remote->setTrustedServerFingerprint("F");
  remote->setState(1);
  expect(remote->account() == account && remote->authenticationStrategy() == basic &&
             remote->trustedServerFingerprint() == "F" && remote->state() == 1,
         "a remote repository has an account");
  QRBSourceControlAccount::registerAccountManager(nullptr);

  auto manager = QRBSourceControlManager::sharedInstance();
  auto handler = std::make_shared<FailureHandler>();
  manager->setFailureHandler(handler);
  expect(manager->failureHandler() == handler, "refused logins have a handler");
  manager->setFailureHandler(nullptr);
  manager->setDiscoveryTimeLimit(std::chrono::seconds(30));
  auto observer = manager->observeServiceFailures([](const QRBSourceControlServiceFailure&) {});
  auto context = std::make_shared<int>(7);
  QRBSourceControlOperationPtr operation = manager->sourceControlSystemsWithCompletionBlock([](const auto&) {});
  operation->setContext(context);
  expect(operation->context() == context, "a request has a context");
  operation->cancel();
}

void useAddressBook(const std::string& folder) {
  std::filesystem::create_directory(folder);
  std::ofstream(folder + "/jo.vcf") << "BEGIN:VCARD\nVERSION:3.0\nUID:1\nFN:Jo Doe\nN:Doe;Jo;;;\n"
                                       "EMAIL:jo@example.com\nEND:VCARD\n";
  auto book = QRBSourceControlVCardAddressBook::initWithFolderURL(qrb::URL::fileURL(folder, true));
  expect(!book->reload() && book->problems().empty(), "an address book is read");
  QRBSourceControlAddressBook::registerAddressBook(book);
  auto author = QRBSourceControlAuthor::initWithUsername("jo", "jo@example.com");
  expect(book->pairAuthor(author) && author->pairedPerson() != nullptr && !author->pairedUUID() &&
             author->displayName() == "Jo Doe" && !author->imageURL(),
         "an author is in the address book");
  QRBSourceControlAddressBook::registerAddressBook(nullptr);
}

void useLocations() {
  auto branch = QRBSourceControlBranch::initWithBranchNameRemoteName("x", false, "origin");
  const qrb::Dictionary kept = branch->dictionaryRepresentationWithOptions(QRBSourceControlDictionaryIncludesLocation);
  expect(branch->identifier() == "x" && branch->remoteName() == "origin" &&
             kept[QRBSourceControlBranchIdentifierKey].string() == "x" &&
             kept[QRBSourceControlBranchOptionsKey].unsignedInteger() == branch->options(),
         "a branch is kept");
  auto tag = QRBSourceControlTag::initWithDictionary(
      {{QRBSourceControlTagIdentifierKey, "v1"}, {QRBSourceControlTagOptionsKey, QRBSourceControlTagOptionNew}});
  expect(tag != nullptr && tag->isNewTag(), "a tag is read");
  auto path = QRBSourceControlPathLocation::initWithDictionary({{QRBSourceControlPathIdentifierKey, "a/b"}});
  expect(path != nullptr && path->relativePath() == "a/b", "a path is read");
  auto locked =
      QRBSourceControlLockedRevisionLocation::initWithDictionary({{QRBSourceControlLocationRevisionKey, "1"}});
  expect(locked != nullptr && locked->revision()->identifier() == "1", "a locked revision is read");
  auto layout = QRBSourceControlBranchAndTagLocations::locationsWithStandardLayout();
  expect(layout->relativePrimaryBranchLocation()->relativePath() == "trunk" &&
             layout->relativeBranchesLocation() != nullptr && layout->relativeTagsLocation() != nullptr,
         "a layout has three places");
  expect(QRBSourceControlStatusWords(QRBSourceControlStatusMissing | QRBSourceControlStatusUntracked).size() == 2,
         "a status has words");
  QRBSourceControlPathStatuses statuses;
  statuses.set("a", QRBSourceControlStatusMissing);
  expect(statuses.contains("a"), "files have statuses");
  expect(QRBSourceControlWorkingCopyScannerProtocol::scanFolderPaths.selector.starts_with("scanFolderPaths:"),
         "a message has a name");
}

void useBlueprints() {
  qrb::Error problem;
  expect(!QRBSourceControlWorkspaceBlueprint::validateDictionary(qrb::Dictionary(), &problem) && problem,
         "what is no blueprint is refused");
  auto remote =
      QRBSourceControlRemoteRepository::initUnsavedWithURL(qrb::URL("https://example.com/x"), "ID", "2", git());
  expect(remote->identifier() == "ID" && remote->secondaryIdentifier() == "2" &&
             remote->sourceControlSystem() == git() && remote->_id().has_value(),
         "a repository has identifiers");
  auto blueprint = QRBSourceControlWorkspaceBlueprint::initWithSingleRemoteRepository(remote);
  expect(blueprint->repository() == remote && blueprint->branchAndTagLocations() == nullptr &&
             blueprint->location() == nullptr,
         "a blueprint of one repository answers for it");
  expect(
      blueprint->addRemoteRepository(
          QRBSourceControlRemoteRepository::initUnsavedWithURL(qrb::URL("https://example.com/y"), "IE", git()), "../y"),
      "a repository is added");
  expect(blueprint->repositoriesWithWorkingCopyPathsAboveRootFolder().size() == 1, "it lies above the root folder");
  const QRBSourceControlWorkspaceBlueprintOptions options = QRBSourceControlWorkspaceBlueprintLocations;
  auto text = blueprint->jsonDataRepresentationWithOptions(options);
  auto again = QRBSourceControlWorkspaceBlueprint::initWithJSONData(text.value_or(""));
  expect(again != nullptr && again->remoteRepositories().size() == 2 && again->leftOutOnReading().empty(),
         "a blueprint is read again");
  QRBSourceControlWorkspaceBlueprint::validateDictionary(
      {{QRBSourceControlWorkspaceBlueprintVersion, 204},
       {QRBSourceControlWorkspaceBlueprintLocationsKey,
        {{"ID", {{QRBSourceControlWorkspaceBlueprintLocationTypeKey, 7}}}}}},
      &problem);
  expect(problem.code() == -400, "a blueprint that is not valid is refused");
}

}  // namespace

void useModel(const std::string& folder) {
  useSystems();
  useAccounts();
  useAddressBook(folder + "/people");
  useLocations();
  useBlueprints();
}
