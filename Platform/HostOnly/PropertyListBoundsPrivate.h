#pragma once

#include <string_view>

#include "DocumentLimits.h"

// These look at a document before a parser does: a parser that follows whatever nesting and sharing a document has can
// be made to use up all stack or memory by a few bytes.
namespace qrb::detail {

/// Whether the elements of an XML property list are properly nested, no deeper and no more than the limits say.
bool isBoundedXMLPropertyList(std::string_view document, const DocumentLimits& limits);

/// Whether a binary property list stays within the limits when every object is made as often as it is referred to.
bool isBoundedBinaryPropertyList(std::string_view document, const DocumentLimits& limits);

}  // namespace qrb::detail
