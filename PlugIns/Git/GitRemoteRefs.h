#pragma once

#include <string_view>

/// The object name of a ref in what gitListRemoteCommand() printed; empty where it is not listed. Other refs whose
/// names end alike do not count. Pure; the view is into the text.
std::string_view gitHashOfRemoteRef(std::string_view output, std::string_view ref);
