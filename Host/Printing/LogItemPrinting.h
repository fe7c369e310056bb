#pragma once

#include "JSONArray.h"
#include "Output.h"
#include "QRBSourceControlLogItem.h"

namespace host {

/// One entry of a history as listings have it. `email` is the author's address; left out where it is absent.
JSONValue jsonOfLogItem(const QRBSourceControlLogItem& item, const qrb::String& email);

/// Writes it for people, on several lines; with what it did to which path where that is wanted and known.
void writeLogItem(Output& output, const QRBSourceControlLogItem& item, bool withPaths);

}  // namespace host
