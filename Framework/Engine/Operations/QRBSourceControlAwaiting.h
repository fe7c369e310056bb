#pragma once

#include <concepts>
#include <functional>
#include <future>
#include <memory>
#include <tuple>
#include <type_traits>
#include <utility>

#include <qrb/Error.h>

#include "QRBSourceControlCallbacks.h"

// Two other ways to receive what a request answers, both of them made of nothing but its completion: waiting for it,
// and having it delivered where the host wants it. A host may use either, both, or neither.

namespace qrb {

/// Runs a function given to it, at once or later, on a thread of its choice. Called on any thread.
using Executor = std::function<void(std::function<void()>)>;

/// A completion, and the future of what it is called with.
template <class... Values>
struct FutureCompletion {
  QRBSourceControlCompletionBlock<Values...> completion;
  std::future<std::tuple<Values..., Error>> future;
};

/// For waiting: hand `completion` to one request, and `future.get()` blocks until that request is answered, then gives
/// the values and, last, the error: `auto [revision, error] = future.get();`.
///
/// - Values are absent where there is an error, as in any completion; the error is a value too and nothing is thrown
///   for it.
/// - The future does not own the request. Giving it up neither stops the request nor waits for it; to stop it, cancel
///   the handle that the request returned, which answers with the cancellation error.
/// - Where a completion is let go without having been called (a function that answers null and no more), `get` throws
///   std::future_error with std::future_errc::broken_promise.
/// - Wait on a thread that the answer does not need: never in a completion or another callback of the library, and not
///   on the main thread for the few requests whose contract says that they finish there.
template <class... Values>
FutureCompletion<Values...> futureCompletion() {
  // Shared, because a completion can be copied and a promise cannot.
  auto promise = std::make_shared<std::promise<std::tuple<Values..., Error>>>();
  auto future = promise->get_future();
  auto completion = [promise](Values... values, Error error) {
    promise->set_value(std::tuple<Values..., Error>(std::move(values)..., std::move(error)));
  };
  return {std::move(completion), std::move(future)};
}

/// For delivery: a callback that, when called, hands `callback` and copies of its arguments to `executor`. It converts
/// to whatever completion, progress or log block `callback` itself would.
///
/// - `callback` runs wherever the executor runs it; calls keep their order if the executor keeps that of its functions,
///   so progress and batches stay before the completion.
/// - The request counts as over once the executor has taken the completion, not when `callback` has run. A cancelled
///   request may therefore still deliver progress that was under way, and then its completion.
/// - `callback` and what it holds live until both the request and the executor are done with them, and are destroyed on
///   the thread of the later one.
/// - An executor that drops a function drops the call with it. An empty std::function stays one that does nothing.
template <class Callback>
auto on(Executor executor, Callback callback) {
  auto shared = std::make_shared<Callback>(std::move(callback));
  return [ executor = std::move(executor), shared = std::move(shared) ]<class... Arguments>(
      Arguments && ... arguments) requires std::invocable<Callback&, std::decay_t<Arguments>...> {
    if constexpr (requires { *shared == nullptr; }) {
      if (*shared == nullptr) return;
    }
    executor([shared, values = std::tuple<std::decay_t<Arguments>...>(std::forward<Arguments>(
                          arguments)...)]() mutable { std::apply(*shared, std::move(values)); });
  };
}

}  // namespace qrb
