#pragma once

#include <cerrno>
#include <cstdint>
#include <string>

#include "Error.h"
#include "QRBSourceControlError.h"

namespace host {

/// A failure of the program itself, with what the user can do about it (nothing where that is empty) and the code of
/// the operating system's failure, if there was one.
inline qrb::Error hostError(const std::string& description, const std::string& suggestion = {},
                            std::int64_t code = EINVAL) {
  qrb::StringMap<qrb::String> info{{qrb::kErrorLocalizedDescriptionKey, description}};
  if (!suggestion.empty()) info.set(qrb::kErrorLocalizedRecoverySuggestionKey, suggestion);
  return qrb::Error(qrb::kGeneralErrorDomain, code, std::move(info));
}

}  // namespace host
