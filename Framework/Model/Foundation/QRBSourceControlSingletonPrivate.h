#pragma once

namespace qrb {

/// What a class of which there are shared instances only asserts when somebody wants to make one.
inline constexpr const char* kSharedInstanceOnly = "Don't call init, this is a singleton, get the shared instance";

}  // namespace qrb
