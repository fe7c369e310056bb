#pragma once

#include "Dictionary.h"
#include "JSONArray.h"
#include "Output.h"
#include "QRBSourceControlForward.h"
#include "Result.h"
#include "Session.h"

namespace host {

/// What differs between two locations, in the layout of the shipped plug-ins.
qrb::Result<qrb::Dictionary> findDifferences(Session& session, const QRBSourceControlRepositoryPtr& repository,
                                             const QRBSourceControlRevisionLocationPtr& from,
                                             const QRBSourceControlRevisionLocationPtr& against);

/// One element for each file.
std::vector<JSONValue> jsonOfDifferences(const qrb::Dictionary& dictionary);

/// For people, and for tools that apply patches: where output is no terminal the patches are written byte for byte.
void writePatches(Output& output, const qrb::Dictionary& dictionary);
/// A line for each file with how many lines came and went.
void writeSummary(Output& output, const qrb::Dictionary& dictionary);

}  // namespace host
