#include "Systems.h"

#include <algorithm>

#include "HostError.h"
#include "QRBSourceControlCancellable.h"
#include "QRBSourceControlConstants.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlManager.h"
#include "QRBSourceControlSystem.h"
#include "UnicodeText.h"

namespace host {

namespace {

namespace fs = std::filesystem;

template <class Ask>
ListedSystems list(Session& session, Ask ask) {
  auto found = std::make_shared<std::vector<QRBSourceControlSystemPtr>>();
  qrb::Error error = session.perform("Looking for plug-ins", [&](Session::Done done) {
    return ask([found, done](const auto& systems) {
      if (systems == nullptr) return done(QRBSourceControlError_Canceled());
      *found = *systems;
      done({});
    });
  });
  if (error) return error;
  return *found;
}

ListedSystems listSome(Session& session, const std::vector<qrb::String>& identifiers) {
  return list(session, [&](auto completion) {
    return QRBSourceControlManager::sharedInstance()->sourceControlSystemsOfPlugIns(identifiers, std::move(completion));
  });
}

struct KnownSystem {
  std::string_view plugIn;
  const char* metadata;
};
constexpr KnownSystem knownSystems[] = {{QRBSourceControlGitPlugInIdentifier, ".git"},
                                        {QRBSourceControlSubversionPlugInIdentifier, ".svn"}};

std::vector<qrb::String> systemsWithMetadataIn(const fs::path& place, const std::vector<qrb::String>& installed) {
  std::vector<qrb::String> systems;
  for (const KnownSystem& known : knownSystems) {
    std::error_code failure;
    bool isInstalled = std::ranges::count(installed, qrb::String(known.plugIn)) > 0;
    if (isInstalled && fs::exists(fs::symlink_status(place / known.metadata, failure))) {
      systems.emplace_back(known.plugIn);
    }
  }
  return systems;
}

/// Empty where only all together can tell.
std::vector<qrb::String> plainSystemsOf(const fs::path& folder, const std::vector<qrb::String>& installed) {
  bool othersAreInstalled = std::ranges::any_of(installed, [](const qrb::String& identifier) {
    return std::ranges::none_of(knownSystems, [&](const KnownSystem& known) { return identifier == known.plugIn; });
  });
  for (fs::path place = folder;; place = place.parent_path()) {
    if (auto systems = systemsWithMetadataIn(place, installed); !systems.empty()) return systems;
    // A folder on the way up may be another system's.
    if (othersAreInstalled || place == place.parent_path()) return {};
  }
}

}  // namespace

ListedSystems listSystems(Session& session) {
  return list(session, [](auto completion) {
    return QRBSourceControlSystem::sourceControlSystemsWithCompletionBlock(std::move(completion));
  });
}

ListedSystems listSystemsFor(Session& session, const fs::path& folder) {
  std::vector<qrb::String> asked = QRBSourceControlManager::installedPlugInIdentifiers();
  if (std::vector<qrb::String> plain = plainSystemsOf(folder, asked); !plain.empty()) {
    ListedSystems listed = listSome(session, plain);
    if (!listed || !listed->empty()) return listed;
    // The folder may be one of the others' all the same, whatever has become of the one that it seemed to be of.
    std::erase_if(asked, [&](const qrb::String& identifier) { return std::ranges::count(plain, identifier) > 0; });
  }
  return listSome(session, asked);
}

qrb::Result<QRBSourceControlSystemPtr> findSystemNamed(Session& session, const std::string& name) {
  ListedSystems systems = listSystems(session);
  if (!systems) return systems.error();
  for (const QRBSourceControlSystemPtr& each : *systems) {
    if (qrb::lowercased(each->name().view()) == qrb::lowercased(name)) return each;
  }
  return hostError("There is no system named \"" + name + "\".", "\"qrbscm systems\" shows which there are.", ENOENT);
}

qrb::Result<QRBSourceControlSystemPtr> findSystemFor(Session& session, const qrb::URL& url, const std::string& name) {
  if (!name.empty()) return findSystemNamed(session, name);
  ListedSystems systems = listSystems(session);
  if (!systems) return systems.error();
  auto guess = QRBSourceControlSystem::bestGuessSystemForURLAmongSystems(url, *systems);
  if (guess != nullptr) return guess;
  return findSystemNamed(session, "git");
}

}  // namespace host
