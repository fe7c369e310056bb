#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "AssertionRecorder.h"
#include "KeyedArchiver.h"
#include "KeyedUnarchiver.h"
#include "QRBSourceControlSystem.h"

namespace qrb::test {

/// The object after a way through an archive.
template <class T>
auto throughArchive(const std::shared_ptr<T>& object) {
  using Class = std::remove_const_t<T>;
  return KeyedUnarchiver::unarchivedObject<Class>(KeyedArchiver::archivedData(object));
}

/// What a system can do, for tests that look at one capability.
struct Capabilities {
  bool hasLocalRepository = false;
  bool supportsMultipleRemoteRepositories = false;
  bool supportsPathLocation = false;
  bool repositoryURLIncludesSubpath = false;
  bool requiresLocationsForBranchesAndTags = false;
};

inline QRBSourceControlSystemPtr makeSystem(const char* identifier = "test.system", Capabilities can = {}) {
  return QRBSourceControlSystem::initWithName(
      "Test", identifier, "1.0", ".test", {}, can.hasLocalRepository, can.supportsMultipleRemoteRepositories,
      can.supportsPathLocation, can.repositoryURLIncludesSubpath, can.requiresLocationsForBranchesAndTags, 7);
}

}  // namespace qrb::test
