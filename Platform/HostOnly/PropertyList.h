#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Dictionary.h"
#include "DocumentLimits.h"

namespace qrb {

/// The value of a property list, XML or binary; nothing, with a sentence in `problem`, for what is none or goes beyond
/// the limits. The sentence quotes nothing of the document. Data, dates and references to objects are read as null.
/// Texts are UTF-8. Never throws; any thread.
std::optional<Dictionary> valueFromPropertyList(std::string_view document, std::string& problem,
                                                const DocumentLimits& limits = {});

/// An XML property list of booleans, whole numbers from 0 on, other numbers, texts, arrays and dictionaries; nothing,
/// with a sentence in `problem` that names the key, where a text is not UTF-8 or has control characters, for which XML
/// has no form. Null is left out.
std::optional<std::string> propertyListFromValue(const Dictionary& value, std::string& problem);

}  // namespace qrb
