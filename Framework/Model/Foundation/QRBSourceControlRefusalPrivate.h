#pragma once

#include <functional>
#include <memory>
#include <tuple>
#include <utility>

#include "QRBSourceControlForward.h"
#include "QRBSourceControlSystem.h"

namespace qrb::detail {

/// Makes a request of a system that has the capability. Any other, and none, is refused: the completion gets the error
/// at once, with every value before it absent, and there is no request.
template <class... A, class MakeRequest>
QRBSourceControlCancellablePtr requestIfCapable(const QRBSourceControlSystemPtr& system,
                                                bool (QRBSourceControlSystem::*capability)() const noexcept,
                                                Error (*refusal)(), const std::function<void(A...)>& completionBlock,
                                                MakeRequest makeRequest) {
  if (system != nullptr && (*system.*capability)()) return makeRequest();
  if (completionBlock) {
    std::tuple<A...> values;
    std::get<sizeof...(A) - 1>(values) = refusal();
    std::apply(completionBlock, std::move(values));
  }
  return nullptr;
}

}  // namespace qrb::detail
