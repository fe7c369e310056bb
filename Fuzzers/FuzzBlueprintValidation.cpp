// One value of anyone in the place of one that was good: the first byte says which.

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "BlueprintFuzzing.h"
#include "JSONDocument.h"

namespace {

using qrb::Dictionary;
// The keys on the way to it, and positions in arrays.
using Place = std::vector<std::string>;

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
void addPlaces(const Dictionary& value, const Place& place, std::vector<Place>& places) {
  auto add = [&](const std::string& key, const Dictionary& inner) {
    Place innerPlace = place;
    innerPlace.push_back(key);
    places.push_back(innerPlace);
    addPlaces(inner, innerPlace, places);
  };
  for (const auto& [key, inner] : value.entries()) add(key, inner);
  for (std::size_t index = 0; index < value.elements().size(); ++index) {
    add(std::to_string(index), value.elements()[index]);
  }
}

Dictionary replaced(const Dictionary& value, std::span<const std::string> place, const Dictionary& replacement) {
  if (place.empty()) return replacement;
  if (!value.isArray()) {
    Dictionary changed = value;
    changed[place[0]] = replaced(value[place[0]], place.subspan(1), replacement);
    return changed;
  }
  Dictionary::Array elements = value.elements();
  Dictionary& element = elements[std::stoul(place[0])];
  element = replaced(element, place.subspan(1), replacement);
  return Dictionary::array(std::move(elements));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto& places = *new std::vector<Place>([] {
    std::vector<Place> found;
    addPlaces(goodFile(), {}, found);
    return found;
  }());
  if (size == 0) return 0;
  std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
  std::string problem;
  auto value = qrb::valueFromJSON(text, problem);
  if (!value) return 0;
  fuzzing::useDictionary(replaced(goodFile(), places[data[0] % places.size()], *value));
  return 0;
}
