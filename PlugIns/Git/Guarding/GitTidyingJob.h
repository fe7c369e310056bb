#pragma once

#include <time.h>

#include <string>
#include <string_view>
#include <vector>

#include "Guard.h"

/// The first argument of this plug-in's program where it is to tidy up after another that was killed.
inline constexpr std::string_view gitTidyingOption = "--tidy-up";

/// A job that runs this plug-in's program again: the kind of tidying, the folder, the time since when the other has
/// worked there, and what else the kind takes. See gitTidyUp().
qrb::Guard::Job gitTidyingJob(std::string_view kind, const std::string& folder, const timespec& since,
                              const std::vector<std::string>& more = {}, std::string input = {});
