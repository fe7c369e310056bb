// A file of the legacy form from anyone, XML or binary.

#include <cstdint>
#include <string_view>

#include "BlueprintFuzzing.h"
#include "PropertyList.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view document(reinterpret_cast<const char*>(data), size);
  std::string problem;
  // Little is enough to find what goes wrong, and a target that may ask for much is slow.
  auto value = qrb::valueFromPropertyList(document, problem, {.bytes = 1 << 20, .depth = 16, .values = 10'000});
  fuzzing::require(value.has_value() == problem.empty(), "a problem is told exactly when there is one");
  if (value) fuzzing::useDictionary(*value);
  return 0;
}
