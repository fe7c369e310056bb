#pragma once

#include <cstdio>
#include <cstdlib>

#include "QRBSourceControlManager.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlSystem.h"
#include "QRBSourceControlWorkspaceBlueprint.h"

// What the fuzz targets of blueprints share.
namespace fuzzing {

inline void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "broken: %s\n", what);
  std::abort();
}

/// Two systems to read repositories for, so that no plug-in is asked.
inline void installSystems() {
  static const bool once = [] {
    auto systems = std::make_shared<QRBSourceControlSystem::Systems>();
    for (const char* identifier : {"org.qrb.Orlix.sourcecontrol.Git", "org.qrb.Orlix.sourcecontrol.Subversion"}) {
      systems->push_back(
          QRBSourceControlSystem::initWithName("Name", identifier, "1", ".x", {}, true, true, true, true, true, 7));
    }
    QRBSourceControlManager::sharedInstance()->setCachedSourceControlSystems(systems);
    return true;
  }();
  static_cast<void>(once);
}

/// Does with a dictionary of anyone what a host does with a file.
inline void useDictionary(const qrb::Dictionary& dictionary) {
  installSystems();
  qrb::Error error;
  bool isValid = QRBSourceControlWorkspaceBlueprint::validateDictionary(dictionary, &error);
  require(isValid != static_cast<bool>(error), "an error is told exactly when there is one");
  auto blueprint = QRBSourceControlWorkspaceBlueprint::initWithDictionary(dictionary);
  require(blueprint != nullptr || !isValid, "what is valid can be read");
  if (blueprint == nullptr) return;
  blueprint->repositoriesWithWorkingCopyPathsAboveRootFolder();
  auto copy = blueprint->copyWithoutAuthentication();
  std::size_t count = blueprint->remoteRepositories().size();
  require(copy->remoteRepositories().size() == count, "a copy has every repository");
  copy->mergeWithBlueprint(blueprint);
  blueprint->isFuzzyEqualToBlueprint(copy);
  for (std::uint64_t options : {std::uint64_t{0}, std::uint64_t{1}, std::uint64_t{0x7fe}}) {
    auto written = blueprint->dictionaryRepresentationWithOptions(options);
    auto again = QRBSourceControlWorkspaceBlueprint::initWithDictionary(written);
    require(again != nullptr, "what was written can be read");
    require(again->remoteRepositories().size() <= count, "reading invents no repository");
  }
  blueprint->jsonDataRepresentationWithOptions(0x7fe);
  blueprint->propertyListDataRepresentationWithOptions(1);
}

}  // namespace fuzzing
