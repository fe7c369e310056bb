#pragma once

#include <string_view>

#include "Error.h"

namespace qrb {

/// In this process, from now on: a request that the plug-in has left to its base class is not the end of the process.
/// It is still logged as the programming error that it is where the plug-in's descriptor promises it.
void answerForBaseClass();
/// Whether the base class was called on this thread since this was last asked.
bool takeUnserved();
/// What a host is told then.
Error unservedError(std::string_view method);

}  // namespace qrb
