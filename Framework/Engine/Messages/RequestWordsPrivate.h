#pragma once

#include <string_view>

#include "SharedString.h"

namespace qrb {

/// What a request does, for people, as in "Snap does not support merging"; absent for a method that is not known.
String wordsForRequest(std::string_view method);

}  // namespace qrb
