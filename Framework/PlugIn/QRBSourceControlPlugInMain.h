#pragma once

#include <memory>

#include <qrb/Export.h>

#include "QRBSourceControlPlugInPrimary.h"

/// Publishes a plug-in over the connection that its process was launched with and serves the host until it is done.
/// A plug-in's whole main is
///
///     int main() { return QRBSourceControlRunPlugIn(std::make_shared<MyPlugIn>()); }
///
/// Returns the exit status: 0 when the host ended the conversation, 1 when the connection broke, 2 when the program was
/// not launched by a host (what to do instead is said on stderr). To be called once, first thing, on the main thread,
/// which becomes the thread that serves. Standard input and output belong to the connection; what else the process
/// prints goes to stderr, which the host keeps for its log.
QRB_EXPORT int QRBSourceControlRunPlugIn(std::shared_ptr<QRBSourceControlPlugInPrimary> plugIn);
