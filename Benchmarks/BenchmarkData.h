#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "QRBSourceControlForward.h"

/// Values like those of real repositories, the same every time.
namespace benchmarkdata {

using Items = std::vector<QRBSourceControlLogItemPtr>;

/// A history of one working copy: 200 authors, two or three of 3,375 paths in each item.
Items logItems(std::int64_t count);
/// The report on a working copy of which that many files have changed.
QRBSourceControlPathStatusesPtr statuses(std::int64_t count);
/// The same two as git prints them for the plug-in.
std::string logOutput(std::int64_t count);
std::string statusOutput(std::int64_t count);

}  // namespace benchmarkdata
