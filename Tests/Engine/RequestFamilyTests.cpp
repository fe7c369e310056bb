#include "QRBSourceControlPlugInProtocol.h"
#include "RecorderTesting.h"

namespace qrb::test {
namespace {

namespace Protocol = QRBSourceControlPlugInProtocol;

template <class T>
constexpr bool isList = false;
template <class T>
constexpr bool isList<std::vector<T>> = true;

// Every request of the family, against a plug-in that keeps what it is sent and answers what it is told.
class RequestFamilyTest : public RecorderTest {
 protected:
  /// A value of that type, another one each time, so that exchanged arguments are seen.
  template <class T>
  T sample() {
    std::string number = std::to_string(++_samples);
    if constexpr (isList<T>) {
      return {sample<typename T::value_type>(), sample<typename T::value_type>()};
    } else if constexpr (std::is_same_v<T, String>) {
      return "text \xff" + number;
    } else if constexpr (std::is_same_v<T, URL>) {
      // A place that is not on this machine, where a working copy would be made in earnest.
      return URL("sample://server/" + number);
    } else if constexpr (std::is_same_v<T, Dictionary>) {
      return {{"key", _samples}};
    } else if constexpr (std::is_arithmetic_v<T>) {
      return static_cast<T>(_samples);
    } else {
      return made(static_cast<const T*>(nullptr), number);
    }
  }

  /// The request that `invoke` makes must arrive as `message` with `arguments`, and what the plug-in answers must reach
  /// the completion, once: the values alone, or the error alone even when values came with it. An absent text as the
  /// last argument stands for the operation's identifier.
  template <class... A, class... R, class Invoke>
  void check(const Message<Arguments<A...>, Reply<R...>>& message,
             const std::type_identity_t<std::tuple<A...>>& arguments, const Invoke& invoke) {
    SCOPED_TRACE(message.selector);
    const std::tuple<R...> reply{sample<R>()...};
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
                testing::PrintToString(expectedRequest(message.selector, arguments, *operation)));
      while (!operation->isFinished()) std::this_thread::yield();
      EXPECT_EQ(outcome->calls(), 1u);
    }
  }
  /// The same where the manager's function takes the message's arguments.
  template <class... A, class ReplyTypes, class Request>
  void check(const Message<Arguments<A...>, ReplyTypes>& message, Request request) {
    const std::tuple<A...> arguments{sample<A>()...};
    check(message, arguments, [&](auto done) {
      return std::apply([&](const A&... argument) { return ((*manager()).*request)(argument..., done); }, arguments);
    });
  }

 private:
  using Number = const std::string&;

  static QRBSourceControlSystemPtr systemOfAllRequests() {
    return system()->systemWithAdditionalRequests({
#define QRB_ADDED_REQUEST(name, selector, ...) selector,
#include "QRBSourceControlPlugInMessages.h"
    });
  }
  static auto made(const QRBSourceControlRepositoryPtr*, Number number) {
    return QRBSourceControlRepository::initWithURL(URL::fileURL("/repository" + number), systemOfAllRequests());
  }
  static auto made(const QRBSourceControlWorkingCopyPtr*, Number number) {
    auto made = workingCopy("work" + number);
    made->repository()->setSourceControlSystem(systemOfAllRequests());
    return made;
  }
  static auto made(const QRBSourceControlRemoteRepositoryPtr*, Number number) {
    return QRBSourceControlRemoteRepository::initUnsavedWithURL(URL("https://server/" + number), system());
  }
  static auto made(const QRBSourceControlRevisionPtr*, Number number) {
    return QRBSourceControlRevision::initWithIdentifier(number);
  }
  static auto made(const QRBSourceControlRevisionLocationPtr*, Number number) {
    return QRBSourceControlRevisionLocation::initWithRevision(QRBSourceControlRevision::initWithIdentifier(number));
  }
  static auto made(const QRBSourceControlBranchPtr*, Number number) {
    return QRBSourceControlBranch::initWithBranchName("topic" + number, false, false);
  }
  static auto made(const QRBSourceControlTagPtr*, Number number) {
    return QRBSourceControlTag::initWithTagName("v" + number);
  }
  static auto made(const QRBSourceControlPathLocationPtr*, Number number) {
    return QRBSourceControlPathLocation::initWithRelativePath("trunk" + number + "/");
  }
  static auto made(const QRBSourceControlBranchAndTagLocationsPtr*, Number) {
    return QRBSourceControlBranchAndTagLocations::locationsWithStandardLayout();
  }
  static QRBSourceControlLogItemPtr made(const QRBSourceControlLogItemPtr*, Number number) {
    return QRBSourceControlLogItem::initWithAuthor(QRBSourceControlAuthor::initWithUsername("author", "a@example.org"),
                                                   QRBSourceControlRevision::initWithIdentifier(number),
                                                   Date(std::chrono::seconds(1)), "message", workingCopy());
  }
  QRBSourceControlBlameItemPtr made(const QRBSourceControlBlameItemPtr*, Number) {
    return QRBSourceControlBlameItem::initWithLineRange({1, 2}, sample<QRBSourceControlLogItemPtr>());
  }
  static auto made(const QRBSourceControlPathStatusesPtr*, Number number) {
    return std::make_shared<const QRBSourceControlPathStatuses>(
        QRBSourceControlPathStatuses{{"a" + number, std::uint64_t{4}}});
  }
  auto made(const QRBSourceControlRemoteBranchesPtr*, Number number) {
    return std::make_shared<const QRBSourceControlRemoteBranches>(
        QRBSourceControlRemoteBranches{{number, sample<Protocol::Branches>()}});
  }
  auto made(const QRBSourceControlRemoteRepositoriesPtr*, Number number) {
    return std::make_shared<const QRBSourceControlRemoteRepositories>(
        QRBSourceControlRemoteRepositories{{number, sample<QRBSourceControlRemoteRepositoryPtr>()}});
  }

  template <class... A>
  static std::string expectedRequest(std::string_view selector, std::tuple<A...> arguments,
                                     const QRBSourceControlOperation& operation) {
    if constexpr (sizeof...(A) > 0) {
      auto& last = std::get<sizeof...(A) - 1>(arguments);
      if constexpr (std::is_same_v<std::remove_cvref_t<decltype(last)>, String>) {
        if (!last) last = operation.identifier();
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

  std::uint64_t _samples = 0;
};

TEST_F(RequestFamilyTest, RequestsThatAreToTheHostWhatTheyAreToThePlugIn) {
#define QRB_REQUEST(name, ...) check(Protocol::name, &QRBSourceControlManager::name);
#include "QRBSourceControlPlugInMessages.h"
}

TEST_F(RequestFamilyTest, RequestsThatDifferFromTheirMessage) {
  const auto& m = manager();
  const auto copy = sample<QRBSourceControlWorkingCopyPtr>();
  const auto local = sample<QRBSourceControlRepositoryPtr>();
  const auto remote = sample<QRBSourceControlRemoteRepositoryPtr>();
  const auto revision = sample<QRBSourceControlRevisionPtr>();
  const auto location = sample<QRBSourceControlRevisionLocationPtr>();
  const auto branch = sample<QRBSourceControlBranchPtr>();
  const auto layout = sample<QRBSourceControlBranchAndTagLocationsPtr>();
  const URL folder("x://here");
  check(Protocol::historyOfFile, {"a", copy, location, revision, 3, 10, "text", 1, {}},
        [&](auto done) { return m->historyOfFile("a", copy, location, revision, 3, 10, "text", 1, {}, done); });
  check(Protocol::historyOfWorkingCopy, {copy, revision, revision, 3, -1, {}, 0, {}},
        [&](auto done) { return m->historyOfWorkingCopy(copy, revision, revision, 3, -1, {}, 0, {}, done); });
  check(Protocol::forceUpdateWorkingCopy, {copy, remote},
        [&](auto done) { return m->forceUpdateWorkingCopy(copy, remote, {}, done); });
  check(Protocol::upgradeWorkingCopy, {copy, {}}, [&](auto done) { return m->upgradeWorkingCopy(copy, {}, done); });
  check(Protocol::identifierOfRepositoryForWorkingCopy, {copy},
        [&](auto done) { return m->updateIdentifierOfRepositoryForWorkingCopy(copy, done); });
  check(Protocol::listRemoteRepositoriesForRepository, {local},
        [&](auto done) { return m->listRemoteRepositoriesForRepository(local, done); });
  check(Protocol::createRepositoryAtFileURL, {folder},
        [&](auto done) { return m->createRepositoryAtFileURL(folder, system(), done); });
  check(Protocol::repositoryURLRootForRepository, {remote},
        [&](auto done) { return m->updateRepositoryURLRootForRepository(remote, done); });
  check(Protocol::downloadUpdatesFromRemoteRepository, {remote, local},
        [&](auto done) { return m->downloadUpdatesFromRemoteRepository(remote, local, {}, done); });
  check(Protocol::uploadCommitsToRemoteRepository, {remote, local, branch},
        [&](auto done) { return m->uploadCommitsToRemoteRepository(remote, local, branch, {}, done); });
  check(Protocol::validateAuthenticationOfRemoteRepository, {remote, location, layout},
        [&](auto done) { return m->validateAuthenticationOfRepository(remote, location, layout, done); });
  check(Protocol::createWorkingCopyFromRepository, {remote, branch, layout, folder, {}},
        [&](auto done) { return m->createWorkingCopyFromRepository(remote, folder, branch, layout, {}, done); });
  // Whose branch it is decides whose system is asked.
  check(Protocol::removeBranch, {branch, local, nullptr, layout},
        [&](auto done) { return m->removeBranch(branch, local, nullptr, layout, done); });
  check(Protocol::removeBranch, {branch, nullptr, remote, layout},
        [&](auto done) { return m->removeBranch(branch, nullptr, remote, layout, done); });
}

}  // namespace
}  // namespace qrb::test
