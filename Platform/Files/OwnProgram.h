#pragma once

#include <string>
#include <string_view>

namespace qrb {

/// The path of the program that this process runs; empty where the system does not tell.
std::string ownProgram();

/// The folder that it lies in.
std::string ownProgramFolder();

/// A program of that name in the same folder, whether or not it is there.
std::string programBesideOwn(std::string_view name);

/// The loader of shared libraries that this process was started with, which a sandbox has to let it execute to start
/// the like of itself; empty where it needed none.
std::string ownLoader();

}  // namespace qrb
