#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "Dictionary.h"
#include "JSONArray.h"
#include "Output.h"
#include "QRBSourceControlCallbacks.h"

namespace host {

/// Paths, relative to the root of their working copy, and the status of each.
using StatusEntries = std::vector<std::pair<qrb::String, std::uint64_t>>;

/// The entries of both reports of a working copy, which may be null, in the order of the paths.
StatusEntries mergedStatus(const QRBSourceControlPathStatusesPtr& local, const QRBSourceControlPathStatusesPtr& remote,
                           bool withIgnored);

/// Who holds the locks that a report tells of, as a plug-in lists them; empty where nobody asked.
using StatusLocks = qrb::Dictionary;

/// One element for each path.
std::vector<JSONValue> jsonOfStatus(const StatusEntries& entries, const StatusLocks& locks = {});

/// A line for each path, which begins with the indent.
void writeStatus(Output& output, const StatusEntries& entries, const std::string& indent = {},
                 const StatusLocks& locks = {});

}  // namespace host
