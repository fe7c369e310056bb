#pragma once

#include <string_view>

/// Passes on what hooks have to say, and git with them, to whoever watches this process's standard error: the host's
/// log. Always true, so that it can be the reader of a tool's errors.
bool gitHookOutput(std::string_view bytes);
