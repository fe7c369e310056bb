#include "OwnProgram.h"

#include <filesystem>
#include <system_error>

namespace qrb {

std::string ownProgram() {
  std::error_code error;
  std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
  return error ? std::string() : program.string();
}

std::string ownProgramFolder() {
  return std::filesystem::path(ownProgram()).parent_path().string();
}

std::string programBesideOwn(std::string_view name) {
  return (std::filesystem::path(ownProgramFolder()) / name).string();
}

}  // namespace qrb
