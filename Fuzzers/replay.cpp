// Runs a fuzz target over the files of a folder, and over shortened and altered forms of each, so that the corpus
// guards every build against the faults that fuzzing found.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

using Bytes = std::vector<std::uint8_t>;

/// In memory of its own exact size, so that a sanitizer sees each read beyond the end.
void runOn(const Bytes& bytes, std::size_t size) {
  Bytes exact(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size));
  LLVMFuzzerTestOneInput(exact.data(), exact.size());
}

void runOnVariants(Bytes bytes) {
  for (std::size_t size = 0; size <= bytes.size(); ++size) runOn(bytes, size);
  for (std::uint8_t& byte : bytes) {
    std::uint8_t original = byte;
    for (int altered : {0, 0xff, original ^ 0x20, 0x0a}) {
      byte = static_cast<std::uint8_t>(altered);
      runOn(bytes, bytes.size());
    }
    byte = original;
  }
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 2 || !std::filesystem::is_directory(arguments[1])) {
    std::fprintf(stderr, "usage: %s <corpus folder>\n", arguments[0]);
    return 2;
  }
  std::size_t files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(arguments[1])) {
    std::ifstream stream(entry.path(), std::ios::binary);
    runOnVariants(Bytes(std::istreambuf_iterator<char>(stream), {}));
    ++files;
  }
  std::printf("%zu files\n", files);
  return files == 0 ? 1 : 0;
}
