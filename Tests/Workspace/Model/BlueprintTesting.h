#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>

#include "QRBSourceControlBasicAuthenticationStrategy.h"
#include "QRBSourceControlBranch.h"
#include "QRBSourceControlBranchAndTagLocations.h"
#include "QRBSourceControlLockedRevisionLocation.h"
#include "QRBSourceControlManager.h"
#include "QRBSourceControlPathLocation.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlSSHKeysAuthenticationStrategy.h"
#include "QRBSourceControlSystem.h"
#include "QRBSourceControlTag.h"
#include "QRBSourceControlWorkspaceBlueprint.h"
#include "TemporaryDirectory.h"

namespace qrb::test {

using Blueprint = QRBSourceControlWorkspaceBlueprint;
using BlueprintPtr = QRBSourceControlWorkspaceBlueprintPtr;
using RemoteRepository = QRBSourceControlRemoteRepository;
using RemotePtr = QRBSourceControlRemoteRepositoryPtr;

inline constexpr std::uint64_t kAllCurrentOptions = 0x1fc;
inline constexpr const char* kGit = "org.qrb.Orlix.sourcecontrol.Git";
inline constexpr const char* kSubversion = "org.qrb.Orlix.sourcecontrol.Subversion";

inline QRBSourceControlSystemPtr systemNamed(const char* identifier) {
  bool isGit = std::string_view(identifier) == kGit;
  return QRBSourceControlSystem::initWithName(isGit ? "Git" : "Subversion", identifier, "1", isGit ? ".git" : ".svn",
                                              {}, isGit, isGit, !isGit, !isGit, !isGit, 7);
}

inline RemotePtr remote(const char* url, String identifier, String secondary = {}, const char* system = kGit) {
  return RemoteRepository::initUnsavedWithURL(URL(url), std::move(identifier), std::move(secondary),
                                              systemNamed(system));
}

inline void writeFile(const std::string& path, std::string_view bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

inline std::string contentsOf(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(file)), {});
}

/// A blueprint that has something for every key of a file: both systems, layouts, two repositories that share an
/// identifier, letters beyond ASCII, every kind of location and of authentication. Nothing in it is drawn. The key
/// files are made in the folder.
inline BlueprintPtr sampleBlueprint(const TemporaryDirectory& keys) {
  auto revision = [](const char* identifier) { return QRBSourceControlRevision::initWithIdentifier(identifier); };
  auto layout = QRBSourceControlBranchAndTagLocations::locationsWithStandardLayout();
  std::string key = keys.string() + "/id";
  writeFile(key, "PRIVATE KEY\nof the sample\n");
  writeFile(key + ".pub", "ssh-rsa AAAA sample\n");

  auto project = remote("https://ann@git.example.org/team/MyProject.git", "AAAA1111", "1000001");
  project->setAuthenticationStrategy(
      QRBSourceControlBasicAuthenticationStrategy::initWithUsername("ann", "s3cret-p\xc3\xa4ss"));
  project->setTrustedServerFingerprint("00112233445566778899AABBCCDDEEFF00112233");
  auto library = remote("git@git.example.org:team/Library.git", "BBBB2222", "2000001");
  library->setAuthenticationStrategy(
      QRBSourceControlSSHKeysAuthenticationStrategy::initWithUsername("git", URL::fileURL(key), "s3cret-phrase"));
  library->setEnforceTrustedServerFingerprint(false);
  auto mirror = remote("https://mirror.example.org/Library.git", "BBBB2222", "2000002");
  mirror->setEnforceTrustedServerFingerprint(false);
  mirror->setTrustedServerFingerprint("FFEEDDCCBBAA99887766554433221100FFEEDDCC");
  auto books = remote("https://svn.example.org/B%C3%BCcher", "CCCC3333", "3000001", kSubversion);
  auto drawings = remote("svn+ssh://svn.example.org/drawings", "DDDD4444", "4000001", kSubversion);
  auto pinned = remote("https://git.example.org/team/pinned.git", "EEEE5555", "5000001");
  auto loose = remote("file:///srv/git/loose.git", "FFFF6666", "6000001");
  auto unplaced = remote("https://git.example.org/team/unplaced.git", "GGGG7777", "7000001");

  auto blueprint = Blueprint::init();
  blueprint->set_id("0D9E1C5A-4B1F-4E6A-9F5B-2A7C8D3E4F10");
  blueprint->setName("My Project \xc3\x9c \xe2\x98\x83");
  blueprint->setFavorite(true);
  blueprint->setRelativePathToProject("MyProject.orlixproj");
  blueprint->addRemoteRepository(project, "MyProject/", 1, nullptr,
                                 QRBSourceControlBranch::initWithBranchName("main", true, true));
  blueprint->addRemoteRepository(
      library, "Libraries/Core", 0, nullptr,
      QRBSourceControlTag::initWithTagName("v1.0")->locationWithRevision(revision("abc123")));
  blueprint->addRemoteRepository(mirror, "../Mirror", 2, nullptr,
                                 QRBSourceControlRevisionLocation::initWithRevision(revision("deadbeef")));
  blueprint->addRemoteRepository(books,
                                 "B\xc3\xbc"
                                 "cher/",
                                 3, layout, QRBSourceControlPathLocation::initWithRelativePath("/trunk/B%C3%BCcher/"));
  blueprint->addRemoteRepository(
      drawings, "Drawings", 1,
      QRBSourceControlBranchAndTagLocations::locationsWithPrimaryBranchPath("main", "lines", nullptr),
      QRBSourceControlBranch::initWithBranchName("sketch/x", false));
  blueprint->addRemoteRepository(pinned, "MyProject/Pinned", std::uint64_t{1} << 63, nullptr,
                                 QRBSourceControlLockedRevisionLocation::initWithRevision(revision("cafe")));
  blueprint->addRemoteRepository(loose, "", 0);
  blueprint->addRemoteRepository(unplaced);
  blueprint->setPrimaryRemoteRepository(project);
  return blueprint;
}

/// The same value in the form whose places can be named by paths, and back.
inline nlohmann::json jsonOf(const Dictionary& dictionary) {
  return nlohmann::json::parse(dictionary.jsonText());
}
inline Dictionary dictionaryOf(const nlohmann::json& value) {
  return Blueprint::dictionaryFromJSONData(value.dump()).value();
}

/// Everything that a file can hold of the blueprint, secrets and the texts of key files included, in its own order.
inline Dictionary everythingOf(const Blueprint& blueprint) {
  return blueprint.dictionaryRepresentationWithOptions(kAllCurrentOptions);
}

inline std::string layoutOf(const BlueprintPtr& blueprint, const RemotePtr& repository) {
  auto layout = blueprint->branchAndTagLocationsForRemoteRepository(repository);
  return layout == nullptr ? "none" : layout->description();
}

/// Blueprints are read for the systems that plug-ins were found for: these two, here.
class BlueprintTest : public testing::Test {
 protected:
  BlueprintTest() {
    auto systems = std::make_shared<const QRBSourceControlSystem::Systems>(
        QRBSourceControlSystem::Systems{systemNamed(kGit), systemNamed(kSubversion)});
    QRBSourceControlManager::sharedInstance()->setCachedSourceControlSystems(systems);
  }
  ~BlueprintTest() override { QRBSourceControlManager::sharedInstance()->setCachedSourceControlSystems(nullptr); }

  URL keyFolder() const { return URL::fileURL(folder.string() + "/keys", true); }
  BlueprintPtr sample() const { return sampleBlueprint(folder); }

  TemporaryDirectory folder;
};

}  // namespace qrb::test
