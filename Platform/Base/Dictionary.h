#pragma once

#include <nlohmann/json_fwd.hpp>

namespace qrb {

/// A dictionary of plain values whose layout is not fixed by a type: progress reports, file attributes, stored forms.
/// On the wire it may hold null, booleans, numbers, strings, arrays and dictionaries.
using Dictionary = nlohmann::json;

}  // namespace qrb
