#pragma once

#include "ToolRunner.h"

/// The reader of one tool's errors that passes on what hooks have to say, and git with them, to whoever watches this
/// process's standard error: the host's log. Git's hints are left out: they speak of commands that the user of a host
/// does not type. It wants all there is.
qrb::ToolRunner::Output gitHookOutput();
