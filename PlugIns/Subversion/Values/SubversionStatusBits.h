#pragma once

#include <cstdint>

#include "SubversionValues.h"

/// What a host is told of a path as it is here, without what a conflict is about: bits of
/// QRBSourceControlStatusValues.h, none where there is nothing to tell.
std::uint64_t subversionLocalStatus(const SubversionStatus& status);
/// What an update would bring, and who has locked the path.
std::uint64_t subversionRemoteStatus(const SubversionStatus& status);
/// To be added to the status of a path that is in conflict.
std::uint64_t subversionConflictStatus(const SubversionConflict& conflict);
/// What a revision did to a path. A copy whose source went in the same revision was moved.
std::uint64_t subversionChangeStatus(const SubversionChange& change, bool wasMoved);
