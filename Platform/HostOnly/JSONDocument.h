#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Dictionary.h"
#include "DocumentLimits.h"

namespace qrb {

/// The value of a JSON text; nothing, with a sentence in `problem`, for what is no JSON or goes beyond the limits. The
/// sentence quotes nothing of the text, which may hold secrets. A key that occurs twice has its last value. Never
/// throws; any thread.
std::optional<Dictionary> valueFromJSON(std::string_view text, std::string& problem, const DocumentLimits& limits = {});

/// JSON text over several lines, with sorted keys, so that equal values give equal bytes; it ends in a line feed.
/// Nothing, with a sentence in `problem` that names the key, where a text is not UTF-8.
std::optional<std::string> jsonFromValue(const Dictionary& value, std::string& problem);

/// Where in a value, as keys and places one after another, the first text is that fails a test; nothing when none does.
/// The test is asked about keys too.
std::optional<std::string> placeOfTextThatFails(const Dictionary& value, bool (*test)(std::string_view));

}  // namespace qrb
