#include "PlugInDispatch.h"

#include <algorithm>
#include <atomic>

#include "Assertion.h"
#include "QRBSourceControlModel.h"
#include "QRBSourceControlPlugInProtocol.h"

namespace qrb {

namespace Protocol = QRBSourceControlPlugInProtocol;

namespace {

// The duty to answer one request: once, and not by forgetting it.
class Answering {
 public:
  Answering(std::shared_ptr<Connection> connection, std::uint32_t identifier, std::string_view selector)
      : _connection(std::move(connection)), _identifier(identifier), _selector(selector) {}
  Answering(const Answering&) = delete;
  Answering& operator=(const Answering&) = delete;
  ~Answering() {
    if (!_answered) fail("the request was dropped without an answer");
  }

  template <class... R>
  void answer(const Error& error, const R&... value) {
    if (_answered.exchange(true)) return fail("the request was answered twice");
    try {
      _connection->sendResponse(_identifier, error,
                                [&](ArchiveWriter& writer) { writeValues(writer, std::tuple<const R&...>(value...)); });
    } catch (const ArchiveError& problem) {
      fail(problem.what());
    }
  }

 private:
  void fail(const char* problem) {
    assertionFailure("Framework/QRBSourceControlPlugInPrimary", __LINE__, std::string(_selector) + " " + problem);
  }

  std::shared_ptr<Connection> _connection;
  const std::uint32_t _identifier;
  const std::string_view _selector;
  std::atomic<bool> _answered = false;
};

template <class... R>
QRBSourceControlCompletionBlock<R...> completionOf(std::shared_ptr<Answering> answering, Reply<R...>) {
  return [answering](const R&... value, const Error& error) { answering->answer(error, value...); };
}

template <class... R>
std::function<void(const R&...)> completionOf(std::shared_ptr<Answering> answering, ReplyWithoutError<R...>) {
  return [answering](const R&... value) { answering->answer(Error(), value...); };
}

struct Route {
  std::string_view selector;
  void (*serve)(QRBSourceControlPlugInPrimary& plugIn, const std::shared_ptr<Connection>& connection,
                const Connection::IncomingCall& call);
};

template <class... A, class ReplyTypes>
ReplyTypes replyTypesOf(const Message<Arguments<A...>, ReplyTypes>&);

template <const auto& message, auto function>
constexpr Route route() {
  return {message.selector, [](QRBSourceControlPlugInPrimary& plugIn, const std::shared_ptr<Connection>& connection,
                               const Connection::IncomingCall& call) {
            if (!call.identifier) throw ArchiveError("a request without an identifier");
            using MessageType = std::remove_cvref_t<decltype(message)>;
            auto arguments = readValues<typename MessageType::ArgumentTuple>(call.arguments);
            auto completion = completionOf(std::make_shared<Answering>(connection, *call.identifier, message.selector),
                                           decltype(replyTypesOf(message)){});
            std::apply([&](const auto&... argument) { (plugIn.*function)(argument..., std::move(completion)); },
                       arguments);
          }};
}

constexpr Route routes[] = {
    route<Protocol::sourceControlSystem, &QRBSourceControlPlugInPrimary::sourceControlSystem>(),
    route<Protocol::keychainNameFromURL, &QRBSourceControlPlugInPrimary::keychainNameFromURL>(),
    route<Protocol::scanForWorkingCopiesInFolderPaths,
          &QRBSourceControlPlugInPrimary::scanForWorkingCopiesInFolderPaths>(),
    route<Protocol::scanForWorkingCopiesInPotentialWorkingCopies,
          &QRBSourceControlPlugInPrimary::scanForWorkingCopiesInPotentialWorkingCopies>(),
    route<Protocol::filesAndStatusOfWorkingCopy, &QRBSourceControlPlugInPrimary::filesAndStatusOfWorkingCopy>(),
    route<Protocol::addFiles, &QRBSourceControlPlugInPrimary::addFiles>(),
    route<Protocol::removeFiles, &QRBSourceControlPlugInPrimary::removeFiles>(),
    route<Protocol::copyFiles, &QRBSourceControlPlugInPrimary::copyFiles>(),
    route<Protocol::moveFiles, &QRBSourceControlPlugInPrimary::moveFiles>(),
    route<Protocol::createDirectory, &QRBSourceControlPlugInPrimary::createDirectory>(),
    route<Protocol::discardChangesInFiles, &QRBSourceControlPlugInPrimary::discardChangesInFiles>(),
    route<Protocol::discardAllChangesInWorkingCopy, &QRBSourceControlPlugInPrimary::discardAllChangesInWorkingCopy>(),
    route<Protocol::markAsResolvedFiles, &QRBSourceControlPlugInPrimary::markAsResolvedFiles>(),
    route<Protocol::commitFiles, &QRBSourceControlPlugInPrimary::commitFiles>(),
    route<Protocol::exportFileFromRevisionLocation, &QRBSourceControlPlugInPrimary::exportFileFromRevisionLocation>(),
    route<Protocol::exportFileForParentOfRevision, &QRBSourceControlPlugInPrimary::exportFileForParentOfRevision>(),
    route<Protocol::blameFile, &QRBSourceControlPlugInPrimary::blameFile>(),
    route<Protocol::historyOfFile, &QRBSourceControlPlugInPrimary::historyOfFile>(),
    route<Protocol::mergeBranch, &QRBSourceControlPlugInPrimary::mergeBranch>(),
    route<Protocol::forceUpdateWorkingCopy, &QRBSourceControlPlugInPrimary::forceUpdateWorkingCopy>(),
    route<Protocol::historyOfWorkingCopy, &QRBSourceControlPlugInPrimary::historyOfWorkingCopy>(),
    route<Protocol::currentLocationOfWorkingCopy, &QRBSourceControlPlugInPrimary::currentLocationOfWorkingCopy>(),
    route<Protocol::switchLocation, &QRBSourceControlPlugInPrimary::switchLocation>(),
    route<Protocol::baseRevisionOfWorkingCopy, &QRBSourceControlPlugInPrimary::baseRevisionOfWorkingCopy>(),
    route<Protocol::upgradeWorkingCopy, &QRBSourceControlPlugInPrimary::upgradeWorkingCopy>(),
    route<Protocol::identifierOfRepositoryForWorkingCopy,
          &QRBSourceControlPlugInPrimary::identifierOfRepositoryForWorkingCopy>(),
    route<Protocol::headRevisionOfRepository, &QRBSourceControlPlugInPrimary::headRevisionOfRepository>(),
    route<Protocol::revisionOfLocation, &QRBSourceControlPlugInPrimary::revisionOfLocation>(),
    route<Protocol::listSubpathsOfRepository, &QRBSourceControlPlugInPrimary::listSubpathsOfRepository>(),
    route<Protocol::listBranchesOfRepository, &QRBSourceControlPlugInPrimary::listBranchesOfRepository>(),
    route<Protocol::listRemoteBranchesOfRepository, &QRBSourceControlPlugInPrimary::listRemoteBranchesOfRepository>(),
    route<Protocol::parentBranchesOfBranch, &QRBSourceControlPlugInPrimary::parentBranchesOfBranch>(),
    route<Protocol::ancestorRevisionInRepository, &QRBSourceControlPlugInPrimary::ancestorRevisionInRepository>(),
    route<Protocol::addBranch, &QRBSourceControlPlugInPrimary::addBranch>(),
    route<Protocol::removeBranch, &QRBSourceControlPlugInPrimary::removeBranch>(),
    route<Protocol::diffRepository, &QRBSourceControlPlugInPrimary::diffRepository>(),
    route<Protocol::listRemoteRepositoriesForRepository,
          &QRBSourceControlPlugInPrimary::listRemoteRepositoriesForRepository>(),
    route<Protocol::remoteBranchFromRepository, &QRBSourceControlPlugInPrimary::remoteBranchFromRepository>(),
    route<Protocol::addRemoteRepository, &QRBSourceControlPlugInPrimary::addRemoteRepository>(),
    route<Protocol::removeRemoteRepositoryNamed, &QRBSourceControlPlugInPrimary::removeRemoteRepositoryNamed>(),
    route<Protocol::repositoryURLRootForRepository, &QRBSourceControlPlugInPrimary::repositoryURLRootForRepository>(),
    route<Protocol::downloadUpdatesFromRemoteRepository,
          &QRBSourceControlPlugInPrimary::downloadUpdatesFromRemoteRepository>(),
    route<Protocol::uploadCommitsToRemoteRepository, &QRBSourceControlPlugInPrimary::uploadCommitsToRemoteRepository>(),
    route<Protocol::automaticallyDetectBranchAndTagLocationsForRepository,
          &QRBSourceControlPlugInPrimary::automaticallyDetectBranchAndTagLocationsForRepository>(),
    route<Protocol::createRepositoryAtFileURL, &QRBSourceControlPlugInPrimary::createRepositoryAtFileURL>(),
    route<Protocol::validateAuthenticationOfRemoteRepository,
          &QRBSourceControlPlugInPrimary::validateAuthenticationOfRemoteRepository>(),
    route<Protocol::createWorkingCopyFromRepository, &QRBSourceControlPlugInPrimary::createWorkingCopyFromRepository>(),
};

}  // namespace

void dispatchToPlugIn(QRBSourceControlPlugInPrimary& plugIn, const std::shared_ptr<Connection>& connection,
                      const Connection::IncomingCall& call) {
  if (call.method == Protocol::operationsFinished.selector) return plugIn.operationsFinished();
  const Route* found = std::find_if(std::begin(routes), std::end(routes),
                                    [&](const Route& candidate) { return candidate.selector == call.method; });
  if (found == std::end(routes)) throw ArchiveError("a message that no plug-in knows: " + std::string(call.method));
  found->serve(plugIn, connection, call);
}

}  // namespace qrb
