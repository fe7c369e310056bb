#include "consumer.h"

#include <filesystem>
#include <fstream>

namespace {

using Files = std::vector<qrb::String>;

// What each request leaves, the next one finds.
class Requests {
 public:
  Requests(const std::string& repository, const std::string& folder)
      : _folder(folder),
        _remote(QRBSourceControlRemoteRepository::initUnsavedWithURL(qrb::URL::fileURL(repository), _git)) {
    _remote->setEnforceTrustedServerFingerprint(false);
    expect(!_remote->enforceTrustedServerFingerprint(), "a server need not be known");
  }

  void run() {
    makeWorkingCopy();
    if (_workingCopy == nullptr) return;
    changeFiles();
    readHistory();
    useBranches();
    useRemotes();
    useHelpers();
  }

 private:
  template <class Request>
  void succeed(const std::string& what, Request request) {
    expectSuccess(std::get<0>(answerOf<>(request)), what);
  }

  void makeWorkingCopy() {
    auto [made, madeError] = answerOf<QRBSourceControlRepositoryPtr>([&](auto completion) {
      QRBSourceControlRepository::createRepositoryAtFileURL(qrb::URL::fileURL(_folder + "/made"), _git, completion);
    });
    expectSuccess(madeError, "a repository is made");
    auto [workingCopy, error] = answerOf<QRBSourceControlWorkingCopyPtr>([&](auto completion) {
      _manager->createWorkingCopyFromRepository(_remote, qrb::URL::fileURL(root()), nullptr, nullptr, {}, completion);
    });
    expectSuccess(error, "a repository is cloned");
    _workingCopy = workingCopy;
    if (_workingCopy == nullptr) return;
    _repository = _workingCopy->repository();
    std::ofstream(root() + "/.git/config", std::ios::app) << "[user]\n  name = jo\n  email = jo@example.com\n";
  }

  void changeFiles() {
    auto& copy = *_workingCopy;
    std::ofstream(root() + "/a") << "one\n";
    succeed("files are added", [&](auto done) { copy.addFiles({"a"}, done); });
    succeed("a file is copied", [&](auto done) { copy.copyFiles({"a"}, {"b"}, done); });
    succeed("a file is moved", [&](auto done) { copy.moveFiles({"b"}, {"c"}, done); });
    succeed("a folder is made", [&](auto done) {
      copy.createDirectory("d", true, {{"posixPermissions", 0700}}, done);
    });
    auto [revision, error] = answerOf<QRBSourceControlRevisionPtr>([&](auto completion) {
      copy.commitFiles({"a", "c"}, "Two files", completion);
    });
    expectSuccess(error, "files are committed");
    _revision = revision;
    std::ofstream(root() + "/a") << "two\n";
    auto [local, remote, statusError] = answerOf<QRBSourceControlPathStatusesPtr, QRBSourceControlPathStatusesPtr>(
        [&](auto completion) { copy.filesAndStatusWithRemoteStatus(false, completion); });
    expect(local != nullptr && local->contains("a"), "a changed file has a status");
    copy.updateCachedStatus(local, remote);
    succeed("a change is discarded", [&](auto done) { copy.discardChangesInFiles({"a"}, done); });
    succeed("a file is removed", [&](auto done) { copy.removeFiles({"c"}, done); });
    answerOf<>([&](auto done) { copy.markAsResolvedFiles({"a"}, done); });
    auto location = QRBSourceControlRevisionLocation::initWithRevision(_revision);
    auto [file, exportError] = answerOf<qrb::URL>(
        [&](auto completion) { copy.exportFile("a", location, qrb::URL::fileURL(_folder), completion); });
    expectSuccess(exportError, "a file is exported");
    auto [upgradeError] = answerOf<>([&](auto done) { _manager->upgradeWorkingCopy(_workingCopy, {}, done); });
    expect(upgradeError && !copy.needsUpgrade(), "Git has nothing to upgrade");
  }

  void readHistory() {
    auto [blame, blameError] = answerOf<std::vector<QRBSourceControlBlameItemPtr>>(
        [&](auto completion) { _workingCopy->blameFile("a", _revision, completion); });
    expect(blame.size() == 1 && blame[0]->lineRange().length == 1 && blame[0]->logItem() != nullptr,
           "a line came with a commit");
    auto [ofFile, fileError] = answerOf<std::vector<QRBSourceControlLogItemPtr>>([&](auto completion) {
      _workingCopy->historyOfFile("a", _revision, QRBSourceControlRevision::sharedInitialRevision(),
                                  QRBSourceControlHistoryIncludeAll, 0, {}, completion);
    });
    expect(ofFile.size() == 1 && !ofFile[0]->identifier().empty(), "a file has a history");
    auto [items, error] = answerOf<std::vector<QRBSourceControlLogItemPtr>>([&](auto completion) {
      _manager->historyOfWorkingCopy(_workingCopy, QRBSourceControlRevision::sharedHeadRevision(),
                                     QRBSourceControlRevision::sharedInitialRevision(),
                                     QRBSourceControlHistoryIncludeAll, 0, {}, QRBSourceControlHistorySearchDefault, {},
                                     completion);
    });
    expectSuccess(error, "a working copy has a history");
    expect(items.size() == 2 && items[0]->pathsWithStatus() != nullptr && items[0]->date() > qrb::Date(),
           "a commit names its files");
    for (const auto& item : items)
      expect(item->fileRenames() == nullptr || item->fileRenames()->empty(), "none is renamed");
    if (items.empty()) return;
    auto from = QRBSourceControlRevisionLocation::initWithRevision(items.back()->revision());
    auto [differences, diffError] = answerOf<qrb::Dictionary>([&](auto completion) {
      auto against = QRBSourceControlRevisionLocation::initWithRevision(_revision);
      _repository->diffLocation(from, against, nullptr, completion);
    });
    expect(differences["files"].elements().size() == 2, "two files differ");
  }

  void useBranches() {
    auto [current, currentError] = answerOf<QRBSourceControlRevisionLocationPtr>(
        [&](auto completion) { _workingCopy->currentLocationWithCompletionBlock(completion); });
    auto first = std::dynamic_pointer_cast<const QRBSourceControlBranch>(current);
    expect(first != nullptr, "a branch is checked out");
    auto [added, addError] = answerOf<QRBSourceControlBranchPtr>([&](auto completion) {
      _repository->addBranch(QRBSourceControlBranch::initWithNewBranchName("side"), first, nullptr, completion);
    });
    expectSuccess(addError, "a branch is made");
    QRBSourceControlBranchPtr branch = added;
    auto [found, revisionError] = answerOf<QRBSourceControlRevisionPtr>(
        [&](auto completion) { _repository->revisionOfLocation(branch, nullptr, completion); });
    expect(found != nullptr && found->identifier() == _revision->identifier(), "a branch has a revision");
    auto [tags, tagsError] = answerOf<std::vector<QRBSourceControlTagPtr>>(
        [&](auto completion) { _manager->listTagsOfRepository(_repository, nullptr, completion); });
    expect(!tagsError && tags.empty(), "there is no tag");
    auto [parent, parents, parentError] = answerOf<QRBSourceControlBranchPtr, std::vector<QRBSourceControlBranchPtr>>(
        [&](auto completion) { _repository->parentBranchesOfBranch(branch, nullptr, completion); });
    expectSuccess(parentError, "a branch has parents");
    for (const auto& location : {branch, first}) {
      auto [reached, error] = answerOf<QRBSourceControlRevisionLocationPtr>(
          [&](auto completion) { _workingCopy->switchLocation(location, completion); });
      expectSuccess(error, "another branch is checked out");
    }
    succeed("a branch is merged", [&](auto done) { _workingCopy->mergeBranch(branch, done); });
    succeed("a branch is pushed", [&](auto done) {
      _repository->uploadCommitsToRemoteRepository(
          _remote, QRBSourceControlBranch::initWithNewBranchName("side", "origin"), {}, done);
    });
    succeed("a branch is removed", [&](auto done) { _repository->removeBranch(branch, nullptr, nullptr, done); });
    succeed("it is removed from the remote too", [&](auto done) {
      _repository->removeBranch(QRBSourceControlBranch::initWithBranchName("side", false, true), nullptr, _remote,
                                done);
    });
  }

  void useRemotes() {
    succeed("a remote is added", [&](auto done) { _repository->addRemoteRepository(_remote, "second", done); });
    auto [primary, remotes, error] =
        answerOf<QRBSourceControlRemoteRepositoryPtr, QRBSourceControlRemoteRepositoriesPtr>(
            [&](auto completion) { _manager->listRemoteRepositoriesForRepository(_repository, completion); });
    expect(remotes != nullptr && remotes->size() == 2, "there are two remotes");
    succeed("a remote is removed", [&](auto done) { _repository->removeRemoteRepositoryNamed("second", done); });
    succeed("a remote is fetched",
            [&](auto done) { _repository->downloadUpdatesFromRemoteRepository(_remote, {}, done); });
    succeed("a working copy is updated",
            [&](auto done) { _manager->forceUpdateWorkingCopy(_workingCopy, _remote, {}, done); });
  }

  void useHelpers() {
    std::promise<std::size_t> found;
    _manager->scanForWorkingCopiesInFolderPaths(
        Files{_folder}, false, {_git}, [&](const auto& copies) { found.set_value(copies ? copies->size() : 0); });
    expect(found.get_future().get() == 2, "both working copies are found");
    auto [name, protocol, account, error] = answerOf<qrb::String, std::uint64_t, qrb::String>(
        [&](auto completion) { _git->keychainNameFromURL(qrb::URL("https://jo@example.com/x"), completion); });
    expectSuccess(error, "a login has a name");
    auto [made, keysError] = answerOf<QRBSourceControlSSHKeysAuthenticationStrategyPtr>([&](auto completion) {
      _manager->generateSSHKeysWithPassphrase("phrase", qrb::URL::fileURL(_folder + "/keys"), completion);
    });
    expectSuccess(keysError, "keys are made");
    if (made == nullptr) return;
    QRBSourceControlSSHKeysAuthenticationStrategyPtr keys = made;
    succeed("keys are valid",
            [&](auto done) { _manager->validateSSHKeysWithPrivateKeyURL(keys->privateKeyFile(), done); });
    // Nobody serves ssh there.
    auto [uploadError] = answerOf<>([&](auto done) {
      _manager->uploadPublicSSHKeyFromFolder(keys->keyDirectory(), qrb::URL("ssh://jo@127.0.0.1:1"), "jo", done);
    });
    expect(static_cast<bool>(uploadError), "a key does not reach a server that is none");
    answerOf<QRBSourceControlSSHKeysAuthenticationStrategyPtr>([&](auto completion) {
      _manager->defaultSSHKeyAuthenticationStrategyForURL(qrb::URL("ssh://jo@127.0.0.1/x"), completion);
    });
  }

  std::string root() const { return _folder + "/clone"; }

  const QRBSourceControlManagerPtr _manager = QRBSourceControlManager::sharedInstance();
  const QRBSourceControlSystemPtr _git =
      QRBSourceControlSystem::systemWithIdentifier(QRBSourceControlGitPlugInIdentifier);
  const std::string _folder;
  const QRBSourceControlRemoteRepositoryPtr _remote;
  QRBSourceControlWorkingCopyPtr _workingCopy;
  QRBSourceControlRepositoryPtr _repository;
  QRBSourceControlRevisionPtr _revision;
};

}  // namespace

void useRequests(const std::string& repository, const std::string& folder) {
  Requests(repository, folder).run();
}
