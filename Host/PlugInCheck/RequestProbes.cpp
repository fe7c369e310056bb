#include "Checks.h"
#include "QRBSourceControl.h"
#include "QRBSourceControlPlugInProtocol.h"

namespace host {

namespace {

namespace Protocol = QRBSourceControlPlugInProtocol;

template <class T>
T argumentFrom(const EmptyExample& example) {
  if constexpr (std::is_same_v<T, QRBSourceControlWorkingCopyPtr>) return example.workingCopy;
  if constexpr (std::is_same_v<T, QRBSourceControlRepositoryPtr>) return example.repository;
  if constexpr (std::is_same_v<T, QRBSourceControlRemoteRepositoryPtr>) return example.remote;
  return T();
}

template <class... A>
Conversation::Encoder argumentsFrom(const EmptyExample& example, std::type_identity<std::tuple<A...>>) {
  return argumentsOf(argumentFrom<A>(example)...);
}

template <const auto& message>
constexpr RequestProbe of() {
  using MessageType = std::remove_cvref_t<decltype(message)>;
  using ArgumentTuple = typename MessageType::ArgumentTuple;
  bool isAdditional = false;
  if constexpr (requires { message.served; }) isAdditional = message.served == qrb::Served::whereListed;
  return {message.selector, isAdditional, std::tuple_size_v<ArgumentTuple>,
          [](const EmptyExample& example) { return argumentsFrom(example, std::type_identity<ArgumentTuple>()); },
          [](const PlugInAnswer& answer) {
            std::string undecodable;
            answer.values<typename MessageType::ReplyTuple>(undecodable);
            return undecodable;
          }};
}

// In the order of the page. The first asks what the plug-in is, which every check does.
constexpr RequestProbe kProbes[] = {
#define QRB_MESSAGE(name, ...) of<Protocol::name>(),
#include "QRBSourceControlPlugInMessages.h"
};
static_assert(kProbes[0].method == Protocol::sourceControlSystem.selector);

/// The folder above that is a working copy, whose tool may look there; empty for none.
std::string workingCopyAround(const std::filesystem::path& folder, const QRBSourceControlSystem& system) {
  for (std::filesystem::path place = folder.parent_path();; place = place.parent_path()) {
    for (const std::string& name :
         {system.workingCopyFolderIdentifier().str(), std::string(".git"), std::string(".svn")}) {
      std::error_code failure;
      if (!name.empty() && std::filesystem::exists(std::filesystem::symlink_status(place / name, failure))) {
        return place.native();
      }
    }
    if (place == place.parent_path()) return {};
  }
}

}  // namespace

std::span<const RequestProbe> requestProbes() {
  return std::span(kProbes).subspan(1);
}

Verdict probe(PlugInUnderCheck& plugIn, const RequestProbe& request) {
  const QRBSourceControlSystemPtr& system = plugIn.asked().system;
  if (system == nullptr) return Verdict::skipped("There is no descriptor.");
  bool isListed = system->additionalRequests().contains(qrb::String(request.method));
  if (request.isAdditional && !isListed) return Verdict::notServed();
  if (plugIn.hidesUnserved) return Verdict::skipped("It does not say what it does not serve.");
  if (std::string around = workingCopyAround(plugIn.setting.folder, *system); !around.empty()) {
    return Verdict::skipped("Temporary folders lie in a working copy, " + around +
                            ", which is not to be touched: set TMPDIR to a folder elsewhere.");
  }
  Conversation conversation(plugIn.setting);
  PlugInAnswer answer = conversation.ask(1, request.method, request.arguments(plugIn.emptyExample()));
  if (answer.isUnserved()) {
    return isListed ? Verdict::wrong("Its additionalRequests list it, and it answers -700.") : Verdict::notServed();
  }
  if (!answer && !answer.exitedWithFailure()) return Verdict::of(answer);
  plugIn.served.insert(request.method);
  if (!answer) return Verdict::ok("Where arguments are absent it exits.");
  if (answer.error) return Verdict::ok();
  std::string undecodable = request.undecodable(answer);
  return undecodable.empty() ? Verdict::ok() : Verdict::wrong("The reply is not understood: " + undecodable + ".");
}

EmptyExample PlugInUnderCheck::emptyExample() {
  qrb::URL folder = qrb::URL::fileURL(setting.folder, true);
  EmptyExample example;
  example.repository = QRBSourceControlRepository::initWithURL(folder, asked().system);
  example.workingCopy =
      QRBSourceControlWorkingCopy::initWithFileURLUnidentifiableRepository(folder, example.repository);
  example.remote = QRBSourceControlRemoteRepository::initUnsavedWithURL(folder, asked().system);
  return example;
}

}  // namespace host
