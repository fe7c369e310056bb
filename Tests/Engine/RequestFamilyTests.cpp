#include "QRBSourceControlPlugInProtocol.h"
#include "RecorderTesting.h"

namespace qrb::test {
namespace {

namespace Protocol = QRBSourceControlPlugInProtocol;

// Every request of the family, against a plug-in that keeps what it is sent and answers what it is told.
class RequestFamilyTest : public RecorderTest {
 protected:
  enum class Sends { argumentsAlone, progressIdentifierLast };

  template <class... R>
  using Invoke = std::function<QRBSourceControlOperationPtr(QRBSourceControlCompletionBlock<R...>)>;

  /// The request that `invoke` makes must arrive as `message` with `arguments`, and what the plug-in answers must reach
  /// the completion, once: the values alone, or the error alone even when values came with it.
  template <class... A, class... R>
  void check(const Message<Arguments<A...>, Reply<R...>>& message,
             const std::type_identity_t<std::tuple<A...>>& arguments,
             const std::type_identity_t<std::tuple<R...>>& reply, const std::type_identity_t<Invoke<R...>>& invoke,
             Sends sends = Sends::argumentsAlone) {
    SCOPED_TRACE(message.selector);
    Error failure("org.qrb.SourceControlErrorDomain", -42, {{"key", String("text")}});
    for (const Error& error : {Error(), failure}) {
      writeReply(reply, error);
      auto outcome = Outcome<R...>::make();
      QRBSourceControlOperationPtr operation = invoke(outcome->completion());
      auto result = outcome->wait();
      const Error& reported = std::get<sizeof...(R)>(result);
      EXPECT_EQ(reported, error);
      auto values = [&]<std::size_t... I>(std::index_sequence<I...>) {
        return std::tuple<R...>(std::get<I>(result)...);
      }
      (std::index_sequence_for<R...>());
      EXPECT_EQ(testing::PrintToString(encoded(values)),
                testing::PrintToString(encoded(error ? std::tuple<R...>() : reply)));
      EXPECT_EQ(testing::PrintToString(readRequest()),
                testing::PrintToString(expectedRequest(message.selector, arguments, sends, *operation)));
      while (!operation->isFinished()) std::this_thread::yield();
      EXPECT_EQ(outcome->calls(), 1u);
    }
  }

  using Files = std::vector<String>;

  Files files{"a file", "b\xff"};
  Files targets{"c", "d"};
  QRBSourceControlWorkingCopyPtr copy = workingCopy();
  QRBSourceControlRepositoryPtr local = repository();
  const QRBSourceControlRemoteRepositoryPtr remote =
      QRBSourceControlRemoteRepository::initUnsavedWithURL(URL("https://server/team/repo.git"), system());
  QRBSourceControlRevisionPtr revision = QRBSourceControlRevision::initWithIdentifier("abc");
  QRBSourceControlRevisionLocationPtr location = QRBSourceControlRevisionLocation::initWithRevision(revision);
  QRBSourceControlBranchPtr branch = QRBSourceControlBranch::initWithBranchName("topic", false, false);
  QRBSourceControlBranchPtr mainBranch = QRBSourceControlBranch::initWithBranchName("main", true, false);
  QRBSourceControlPathLocationPtr path = QRBSourceControlPathLocation::initWithRelativePath("trunk/");
  const QRBSourceControlBranchAndTagLocationsPtr layout =
      QRBSourceControlBranchAndTagLocations::locationsWithStandardLayout();
  URL folder = URL::fileURL("/folder", true);
  const Dictionary attributes = {{"mode", 493}};
  const QRBSourceControlLogItemPtr item =
      QRBSourceControlLogItem::initWithAuthor(QRBSourceControlAuthor::initWithUsername("author", "a@example.org"),
                                              revision, Date(std::chrono::seconds(1)), "message", copy);
  const QRBSourceControlPathStatusesPtr statuses =
      std::make_shared<const QRBSourceControlPathStatuses>(QRBSourceControlPathStatuses{{"a", std::uint64_t{4}}});

 private:
  template <class... A>
  static std::string expectedRequest(std::string_view selector, std::tuple<A...> arguments, Sends sends,
                                     const QRBSourceControlOperation& operation) {
    if constexpr (sizeof...(A) > 0) {
      auto& last = std::get<sizeof...(A) - 1>(arguments);
      if constexpr (std::is_same_v<std::remove_cvref_t<decltype(last)>, String>) {
        if (sends == Sends::progressIdentifierLast) last = operation.identifier();
      }
    }
    std::string bytes;
    ArchiveWriterTables tables;
    ArchiveWriter writer(bytes, tables);
    writer.writeArrayHeader(4);
    writer.writeUnsigned(0);
    writer.writeUnsigned(1);
    writer.writeString(selector);
    writeValues(writer, arguments);
    return bytes;
  }
};

TEST_F(RequestFamilyTest, RequestsOnAWorkingCopy) {
  const auto& m = manager();
  check(Protocol::filesAndStatusOfWorkingCopy, {copy, true}, {statuses, statuses},
        [&](auto done) { return m->filesAndStatusOfWorkingCopy(copy, true, done); });
  check(Protocol::addFiles, {files, copy}, {}, [&](auto done) { return m->addFiles(files, copy, done); });
  check(Protocol::removeFiles, {files, copy}, {}, [&](auto done) { return m->removeFiles(files, copy, done); });
  check(Protocol::copyFiles, {files, targets, copy}, {},
        [&](auto done) { return m->copyFiles(files, targets, copy, done); });
  check(Protocol::moveFiles, {files, targets, copy}, {},
        [&](auto done) { return m->moveFiles(files, targets, copy, done); });
  check(Protocol::createDirectory, {"new", true, attributes, copy}, {},
        [&](auto done) { return m->createDirectory("new", true, attributes, copy, done); });
  check(Protocol::discardChangesInFiles, {files, copy}, {},
        [&](auto done) { return m->discardChangesInFiles(files, copy, done); });
  check(Protocol::discardAllChangesInWorkingCopy, {copy}, {},
        [&](auto done) { return m->discardAllChangesInWorkingCopy(copy, done); });
  check(Protocol::markAsResolvedFiles, {files, copy}, {},
        [&](auto done) { return m->markAsResolvedFiles(files, copy, done); });
  check(Protocol::commitFiles, {files, copy, "message"}, {revision},
        [&](auto done) { return m->commitFiles(files, copy, "message", done); });
  check(Protocol::exportFileForParentOfRevision, {"a", copy, revision}, {folder},
        [&](auto done) { return m->exportFileForParentOfRevision("a", copy, revision, done); });
  check(Protocol::exportFileFromRevisionLocation, {"a", copy, branch, folder}, {folder},
        [&](auto done) { return m->exportFileFromRevisionLocation("a", copy, branch, folder, done); });
  check(Protocol::blameFile, {"a", copy, location}, {{QRBSourceControlBlameItem::initWithLineRange({1, 2}, item)}},
        [&](auto done) { return m->blameFile("a", copy, location, done); });
  check(
      Protocol::historyOfFile, {"a", copy, location, revision, 3, 10, "text", 1, {}}, {{item}},
      [&](auto done) { return m->historyOfFile("a", copy, location, revision, 3, 10, "text", 1, {}, done); },
      Sends::progressIdentifierLast);
  check(Protocol::mergeBranch, {branch, copy}, {}, [&](auto done) { return m->mergeBranch(branch, copy, done); });
  check(Protocol::forceUpdateWorkingCopy, {copy, remote}, {},
        [&](auto done) { return m->forceUpdateWorkingCopy(copy, remote, {}, done); });
  check(
      Protocol::historyOfWorkingCopy, {copy, revision, revision, 3, -1, {}, 0, {}}, {{item, item}},
      [&](auto done) { return m->historyOfWorkingCopy(copy, revision, revision, 3, -1, {}, 0, {}, done); },
      Sends::progressIdentifierLast);
  check(Protocol::currentLocationOfWorkingCopy, {copy}, {branch},
        [&](auto done) { return m->currentLocationOfWorkingCopy(copy, done); });
  check(Protocol::switchLocation, {branch, copy}, {location},
        [&](auto done) { return m->switchLocation(branch, copy, done); });
  check(Protocol::baseRevisionOfWorkingCopy, {copy}, {revision},
        [&](auto done) { return m->baseRevisionOfWorkingCopy(copy, done); });
  check(
      Protocol::upgradeWorkingCopy, {copy, {}}, {}, [&](auto done) { return m->upgradeWorkingCopy(copy, {}, done); },
      Sends::progressIdentifierLast);
  check(Protocol::identifierOfRepositoryForWorkingCopy, {copy}, {"identifier"},
        [&](auto done) { return m->updateIdentifierOfRepositoryForWorkingCopy(copy, done); });
}

TEST_F(RequestFamilyTest, RequestsOnARepository) {
  const auto& m = manager();
  Protocol::Branches branches{mainBranch, branch};
  auto byRemote =
      std::make_shared<const QRBSourceControlRemoteBranches>(QRBSourceControlRemoteBranches{{"origin", branches}});
  auto byName = std::make_shared<const QRBSourceControlRemoteRepositories>(
      QRBSourceControlRemoteRepositories{{"origin", remote}});
  check(Protocol::headRevisionOfRepository, {local}, {revision},
        [&](auto done) { return m->headRevisionOfRepository(local, done); });
  check(Protocol::revisionOfLocation, {branch, local, layout}, {revision},
        [&](auto done) { return m->revisionOfLocation(branch, local, layout, done); });
  check(Protocol::listSubpathsOfRepository, {local, path}, {{path, path}},
        [&](auto done) { return m->listSubpathsOfRepository(local, path, done); });
  check(Protocol::listBranchesOfRepository, {local, nullptr}, {branches},
        [&](auto done) { return m->listBranchesOfRepository(local, nullptr, done); });
  check(Protocol::listRemoteBranchesOfRepository, {local, layout}, {branches, byRemote},
        [&](auto done) { return m->listRemoteBranchesOfRepository(local, layout, done); });
  check(Protocol::parentBranchesOfBranch, {branch, local, layout}, {mainBranch, branches},
        [&](auto done) { return m->parentBranchesOfBranch(branch, local, layout, done); });
  check(Protocol::ancestorRevisionInRepository, {local, branch, mainBranch, layout}, {revision},
        [&](auto done) { return m->ancestorRevisionInRepository(local, branch, mainBranch, layout, done); });
  check(Protocol::addBranch, {branch, mainBranch, local, layout}, {branch},
        [&](auto done) { return m->addBranch(branch, mainBranch, local, layout, done); });
  check(Protocol::removeBranch, {branch, local, nullptr, layout}, {},
        [&](auto done) { return m->removeBranch(branch, local, nullptr, layout, done); });
  check(Protocol::removeBranch, {branch, nullptr, remote, layout}, {},
        [&](auto done) { return m->removeBranch(branch, nullptr, remote, layout, done); });
  check(Protocol::diffRepository, {local, branch, location, layout}, {Dictionary{{"diff", "text"}}},
        [&](auto done) { return m->diffRepository(local, branch, location, layout, done); });
  check(Protocol::listRemoteRepositoriesForRepository, {local}, {remote, byName},
        [&](auto done) { return m->listRemoteRepositoriesForRepository(local, done); });
  check(Protocol::remoteBranchFromRepository, {local, branch}, {branch},
        [&](auto done) { return m->remoteBranchFromRepository(local, branch, done); });
  check(Protocol::addRemoteRepository, {remote, "origin", local}, {},
        [&](auto done) { return m->addRemoteRepository(remote, "origin", local, done); });
  check(Protocol::removeRemoteRepositoryNamed, {"origin", local}, {},
        [&](auto done) { return m->removeRemoteRepositoryNamed("origin", local, done); });
  check(Protocol::automaticallyDetectBranchAndTagLocationsForRepository, {local, path}, {location, layout},
        [&](auto done) { return m->automaticallyDetectBranchAndTagLocationsForRepository(local, path, done); });
  check(Protocol::createRepositoryAtFileURL, {folder}, {local},
        [&](auto done) { return m->createRepositoryAtFileURL(folder, system(), done); });
}

TEST_F(RequestFamilyTest, RequestsOnARemoteRepository) {
  const auto& m = manager();
  check(Protocol::repositoryURLRootForRepository, {remote}, {URL("https://server/team"), path},
        [&](auto done) { return m->updateRepositoryURLRootForRepository(remote, done); });
  check(Protocol::downloadUpdatesFromRemoteRepository, {remote, local}, {},
        [&](auto done) { return m->downloadUpdatesFromRemoteRepository(remote, local, {}, done); });
  check(Protocol::uploadCommitsToRemoteRepository, {remote, local, branch}, {},
        [&](auto done) { return m->uploadCommitsToRemoteRepository(remote, local, branch, {}, done); });
  check(Protocol::validateAuthenticationOfRemoteRepository, {remote, location, layout}, {},
        [&](auto done) { return m->validateAuthenticationOfRepository(remote, location, layout, done); });
  check(
      Protocol::createWorkingCopyFromRepository, {remote, branch, layout, URL("x://here"), {}}, {copy},
      [&](auto done) { return m->createWorkingCopyFromRepository(remote, URL("x://here"), branch, layout, {}, done); },
      Sends::progressIdentifierLast);
}

}  // namespace
}  // namespace qrb::test
