#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "CommandDeclaration.h"
#include "QRBSourceControlHistoryTypes.h"
#include "SharedString.h"

namespace host {

/// Which entries of a history the user wants to see, and what of them.
struct HistoryOptions {
  std::optional<std::int64_t> wanted;
  std::string searchText;
  std::string author;
  bool paths = false;

  /// The most entries to ask for, 0 for all: what the user says, or else as many as a person reads.
  std::int64_t maximum(bool isForPeople) const { return wanted.value_or(isForPeople ? 30 : 0); }
  qrb::String search() const;
  QRBSourceControlHistorySearchType searchType() const;
  QRBSourceControlHistoryInclusionType inclusionType(bool needsPaths) const;
};

/// Adds -n, --search, --author and --paths.
void addHistoryOptions(CommandDeclaration& command, HistoryOptions& options);

}  // namespace host
