#include "OwnProgram.h"

#include <link.h>
#include <sys/auxv.h>

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

std::string ownLoader() {
  const auto* segments = reinterpret_cast<const ElfW(Phdr)*>(::getauxval(AT_PHDR));
  std::size_t count = ::getauxval(AT_PHNUM);
  // Where the program lies in memory is known from the place of this very table.
  ElfW(Addr) begin = 0;
  for (std::size_t index = 0; index < count; ++index) {
    if (segments[index].p_type == PT_PHDR) begin = ::getauxval(AT_PHDR) - segments[index].p_vaddr;
  }
  for (std::size_t index = 0; index < count; ++index) {
    if (segments[index].p_type != PT_INTERP) continue;
    return reinterpret_cast<const char*>(begin + segments[index].p_vaddr);
  }
  return {};
}

}  // namespace qrb
