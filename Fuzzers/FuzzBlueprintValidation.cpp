// One value of anyone in the place of one that was good: the first byte says which.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "BlueprintFuzzing.h"
#include "JSONDocument.h"

namespace {

using qrb::Dictionary;
using Pointer = Dictionary::json_pointer;

const Dictionary& goodFile() {
  static const auto& file = *new Dictionary([] {
    fuzzing::installSystems();
    auto system = QRBSourceControlSystem::systemWithIdentifier("org.qrb.Orlix.sourcecontrol.Git");
    auto blueprint = QRBSourceControlWorkspaceBlueprint::init();
    for (const char* secondary : {"1", "2"}) {
      auto repository =
          QRBSourceControlRemoteRepository::initUnsavedWithURL(qrb::URL("https://x/y"), "ID", secondary, system);
      repository->setTrustedServerFingerprint("F");
      blueprint->addRemoteRepository(repository, "x", 1);
      blueprint->setPrimaryRemoteRepository(repository);
    }
    blueprint->setName("N");
    blueprint->setRelativePathToProject("P");
    return blueprint->dictionaryRepresentationWithOptions(0x1fe);
  }());
  return file;
}

// Every place of a value, inner ones included.
std::vector<std::string> placesOf(const Dictionary& value) {
  std::vector<std::string> places;
  Dictionary leaves = value.flatten();
  for (const auto& [place, leaf] : leaves.items()) {
    for (Pointer pointer(place); !pointer.empty(); pointer = pointer.parent_pointer()) {
      places.push_back(pointer.to_string());
    }
  }
  return places;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto& places = *new std::vector<std::string>(placesOf(goodFile()));
  if (size == 0) return 0;
  std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
  std::string problem;
  auto value = qrb::valueFromJSON(text, problem);
  if (!value) return 0;
  Dictionary file = goodFile();
  file[Pointer(places[data[0] % places.size()])] = *value;
  fuzzing::useDictionary(file);
  return 0;
}
