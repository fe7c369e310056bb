#pragma once

#include <QRBSourceControl/QRBSourceControl.h>

#include <string>
#include <tuple>
#include <utility>

/// Says what does not hold, and has the program end with 1.
void expect(bool holds, const std::string& what);

/// Whether a request succeeded; says what it failed with.
void expectSuccess(const qrb::Error& error, const std::string& what);

/// Sends a request and waits for its answer: the values, and the error last.
template <class... Values, class Request>
std::tuple<Values..., qrb::Error> answerOf(Request request) {
  auto waiting = qrb::futureCompletion<Values...>();
  request(waiting.completion);
  return waiting.future.get();
}

// Together they call every function that the documentation names, as a host or a plug-in would.

/// What needs no process, apart from the model.
void usePlatform();
/// What a host holds, keeps and shows; with a folder for its own files.
void useModel(const std::string& folder);
/// Requests to Git: on a clone of a repository, which is made in a folder, as is all else.
void useRequests(const std::string& repository, const std::string& folder);
/// Serves as a plug-in, in the process that a host has launched for it; the exit status.
int servePlugIn();
/// Puts this very program into a folder as a plug-in. It is found when systems are asked for next.
void installPlugIn(const std::string& folder);
/// Has it launched.
void usePlugIn(const std::string& folder);
