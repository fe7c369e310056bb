// A file of the current form from anyone.

#include <cstdint>
#include <string_view>

#include "BlueprintFuzzing.h"
#include "JSONDocument.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view text(reinterpret_cast<const char*>(data), size);
  std::string problem;
  auto value = qrb::valueFromJSON(text, problem);
  fuzzing::require(value.has_value() == problem.empty(), "a problem is told exactly when there is one");
  auto dictionary = QRBSourceControlWorkspaceBlueprint::dictionaryFromJSONData(text);
  fuzzing::require(dictionary.has_value() == (value && value->isObject()), "only dictionaries are taken");
  if (!value) return 0;
  auto again = qrb::jsonFromValue(*value, problem);
  fuzzing::require(again && qrb::valueFromJSON(*again, problem) == value, "what was read is written as it was");
  fuzzing::useDictionary(*value);
  return 0;
}
