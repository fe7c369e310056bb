#pragma once

#include <string_view>

namespace qrb {

/// The programming error of a base class whose function was to be overridden.
inline constexpr std::string_view kSubclassResponsibility = "This is the responsibility of a subclass.";

}  // namespace qrb
