#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <tuple>

#include "Assertion.h"
#include "Connection.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlForward.h"
#include "QRBSourceControlMessage.h"
#include "UnservedPrivate.h"

/// How the processes that a host launches serve its messages: a table of routes, each made of a message's declaration
/// and the member function of the server that serves it.
namespace qrb {

/// The duty to answer one request: once, and not by forgetting it.
class Answering {
 public:
  Answering(std::shared_ptr<Connection> connection, std::uint32_t identifier, std::string_view selector)
      : _connection(std::move(connection)), _identifier(identifier), _selector(selector) {}
  Answering(const Answering&) = delete;
  Answering& operator=(const Answering&) = delete;
  ~Answering() {
    if (!_answered) fail("the request was dropped without an answer");
  }

  /// Without values.
  void refuse(const Error& error) {
    if (!_answered.exchange(true)) _connection->sendResponse(_identifier, error, {});
  }

  template <class... R>
  void answer(const Error& error, const R&... value) {
    if (_answered.exchange(true)) return fail("the request was answered twice");
    try {
      _connection->sendResponse(_identifier, error,
                                [&](ArchiveWriter& writer) { writeValues(writer, std::tuple<const R&...>(value...)); });
    } catch (const ArchiveError& problem) {
      fail(problem.description());
    }
  }

 private:
  void fail(const std::string& problem) {
    assertionFailure("Framework/QRBSourceControlPlugInPrimary", __LINE__, std::string(_selector) + " " + problem);
  }

  std::shared_ptr<Connection> _connection;
  const std::uint32_t _identifier;
  const std::string_view _selector;
  std::atomic<bool> _answered = false;
};

template <class... R>
std::function<void(const R&..., const Error&)> completionOf(std::shared_ptr<Answering> answering, Reply<R...>) {
  return [answering](const R&... value, const Error& error) { answering->answer(error, value...); };
}

template <class... R>
std::function<void(const R&...)> completionOf(std::shared_ptr<Answering> answering, ReplyWithoutError<R...>) {
  return [answering](const R&... value) { answering->answer(Error(), value...); };
}

template <class Server>
struct Route {
  std::string_view selector;
  void (*serve)(Server& server, const std::shared_ptr<Connection>& connection, const Connection::IncomingCall& call);
};

/// The error for a request that does not say what it is about, so that who serves it need not look; none where it does.
/// A remote repository may be left out where it is not what the request is about, and so does not come first.
template <class... A>
Error lackOfSubject(const std::tuple<A...>& arguments) {
  String told("the request does not name it");
  Error lack;
  bool isFirst = true;
  auto look = [&]<class T>(const T& argument) {
    if constexpr (std::is_same_v<T, QRBSourceControlWorkingCopyPtr>) {
      if (argument == nullptr) lack = QRBSourceControlError_WorkingCopyNotFound(told);
    } else if constexpr (std::is_same_v<T, QRBSourceControlRepositoryPtr>) {
      if (argument == nullptr) lack = QRBSourceControlError_RepositoryNotFound(told);
    } else if constexpr (std::is_same_v<T, QRBSourceControlRemoteRepositoryPtr>) {
      if (argument == nullptr && isFirst) lack = QRBSourceControlError_RemoteRepositoryNotFound(told);
    }
    isFirst = false;
  };
  std::apply([&](const A&... argument) { (look(argument), ...); }, arguments);
  return lack;
}

template <class... A, class ReplyTypes>
ReplyTypes replyTypesOf(const Message<Arguments<A...>, ReplyTypes>&);

/// The function takes the message's arguments in order and the completion.
template <class Server, const auto& message, auto function>
constexpr Route<Server> route() {
  return {message.selector,
          [](Server& server, const std::shared_ptr<Connection>& connection, const Connection::IncomingCall& call) {
            if (!call.identifier) throw ArchiveError("a request without an identifier");
            using MessageType = std::remove_cvref_t<decltype(message)>;
            auto arguments = readValues<typename MessageType::ArgumentTuple>(call.arguments);
            auto answering = std::make_shared<Answering>(connection, *call.identifier, message.selector);
            if (Error lack = lackOfSubject(arguments)) return answering->refuse(lack);
            auto completion = completionOf(answering, decltype(replyTypesOf(message)){});
            std::apply([&](const auto&... argument) { (server.*function)(argument..., std::move(completion)); },
                       arguments);
            if (takeUnserved()) answering->refuse(unservedError(message.selector));
          }};
}

/// A request that has no route is answered with the error that says so. Throws ArchiveError for another message that
/// has none, and for one whose arguments are not those declared.
template <class Server>
void dispatch(std::span<const Route<Server>> routes, Server& server, const std::shared_ptr<Connection>& connection,
              const Connection::IncomingCall& call) {
  auto found = std::find_if(routes.begin(), routes.end(),
                            [&](const Route<Server>& candidate) { return candidate.selector == call.method; });
  if (found == routes.end() && call.identifier) {
    Answering(connection, *call.identifier, call.method).refuse(unservedError(call.method));
    return;
  }
  if (found == routes.end()) throw ArchiveError("a message that is not served here: " + std::string(call.method));
  found->serve(server, connection, call);
}

}  // namespace qrb
