#pragma once

#include <string>

#include "FileDescriptor.h"

namespace qrb {

/// A descriptor for a service's stderr, whose lines go to the log under the service's name as they come. Empty when
/// nobody listens to the log: the output may go nowhere then. Reading goes on in the background until every writer has
/// closed its end. Any thread.
FileDescriptor collectServiceOutput(const std::string& serviceName);

}  // namespace qrb
