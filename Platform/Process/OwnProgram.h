#pragma once

#include <string>
#include <string_view>

#include "Export.h"

namespace qrb {

/// The path of the program that this process runs; empty where the system does not tell.
QRB_EXPORT std::string ownProgram();

/// A program of that name in the same folder, whether or not it is there.
QRB_EXPORT std::string programBesideOwn(std::string_view name);

}  // namespace qrb
