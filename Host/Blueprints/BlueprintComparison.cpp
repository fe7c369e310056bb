#include "BlueprintComparison.h"

#include <algorithm>
#include <functional>
#include <map>
#include <set>

#include "BlueprintFiles.h"
#include "JSONArray.h"
#include "LocationPrinting.h"
#include "PathString.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlRevisionLocation.h"
#include "QRBSourceControlWorkingCopy.h"
#include "QRBSourceControlWorkspace.h"
#include "QRBSourceControlWorkspaceBlueprint.h"
#include "RemoteFinder.h"
#include "Text.h"
#include "WorkspaceFinder.h"

namespace host {

namespace {

using State = BlueprintComparison::State;
using Change = BlueprintComparison::Change;
using BlueprintPtr = QRBSourceControlWorkspaceBlueprintPtr;

struct CodeWords {
  const char* word;
  const char* text;
};

// By the code; %s is what the blueprint was compared with.
constexpr CodeWords kCodes[] = {
    {"unrelated", "The %s and the blueprint have no repository in common."},
    {"same", "The %s is as the blueprint says."},
    {"different", "The %s and the blueprint each have repositories that the other has not."},
    {"more", "The %s has all repositories of the blueprint, and more."},
    {"less", "The %s has only some of the repositories of the blueprint."},
    {"other-locations", "The %s has the repositories of the blueprint, but some on another branch, tag or path."},
};

constexpr const char* kStates[] = {"same", "changed", "missing", "extra"};

const char* wordOf(State state) {
  return kStates[static_cast<std::size_t>(state)];
}

void addChange(std::vector<Change>& changes, const char* what, const std::string& recorded, const std::string& found) {
  if (recorded != found) changes.push_back({what, recorded, found});
}

std::string shown(const qrb::String& text) {
  return text ? displayPath(text.view()) : "none";
}

// One place has one text, however a file writes it.
std::string shownPlace(const BlueprintPtr& blueprint, const QRBSourceControlRemoteRepositoryPtr& remote) {
  return displayPath(qrb::standardizedPath(placeOf(blueprint, remote)));
}

std::string pinOf(const BlueprintPtr& blueprint, const QRBSourceControlRemoteRepositoryPtr& remote) {
  auto location = blueprint->locationForRemoteRepository(remote);
  return shortRevision(location ? location->revision() : nullptr);
}

void addLocationChange(std::vector<Change>& changes, const QRBSourceControlRevisionLocationPtr& recorded,
                       const QRBSourceControlRevisionLocationPtr& found) {
  if (isSameLocation(recorded, found)) return;
  changes.push_back({"location", describedLocation(recorded), describedLocation(found)});
}

void add(BlueprintComparison& comparison, std::string place, std::vector<Change> changes) {
  State state = changes.empty() ? State::same : State::changed;
  comparison.repositories.push_back({std::move(place), state, std::move(changes)});
}

// By what is told of each repository: by their identifiers alone, those that share one are taken for each other.
std::uint64_t codeOf(const BlueprintComparison& comparison) {
  std::size_t count[4] = {};
  bool onOtherLocations = false;
  for (const auto& repository : comparison.repositories) {
    ++count[static_cast<std::size_t>(repository.state)];
    onOtherLocations |= std::any_of(repository.changes.begin(), repository.changes.end(),
                                    [](const Change& change) { return change.what == "location"; });
  }
  auto has = [&](State state) { return count[static_cast<std::size_t>(state)] > 0; };
  if (!has(State::same) && !has(State::changed)) return QRBSourceControlWorkspaceUnrelatedToBlueprint;
  if (has(State::missing)) {
    return has(State::extra) ? QRBSourceControlWorkspaceAndBlueprintDiffer
                             : QRBSourceControlWorkspaceHasLessThanBlueprint;
  }
  if (has(State::extra)) return QRBSourceControlWorkspaceHasMoreThanBlueprint;
  return onOtherLocations ? QRBSourceControlWorkspaceOnOtherLocations : QRBSourceControlWorkspaceSameAsBlueprint;
}

JSONValue jsonOf(const std::vector<Change>& changes) {
  JSONValue array = JSONValue::array();
  for (const Change& change : changes) {
    array.push_back(JSONValue{{"what", change.what}, {"recorded", change.recorded}, {"found", change.found}});
  }
  return array;
}

Style styleOf(State state) {
  constexpr Style kStyles[] = {Style::dim, Style::yellow, Style::red, Style::green};
  return kStyles[static_cast<std::size_t>(state)];
}

void writeChanges(Output& output, const std::vector<Change>& changes, const char* indent) {
  for (const Change& change : changes) {
    output.write(indent + change.what + ": " + change.recorded + " -> " + change.found + "\n");
  }
}

using RemotePtr = QRBSourceControlRemoteRepositoryPtr;

// Pairs the repositories of two blueprints: those that are the same, then of the others those in one place, then those
// of one identifier. Secondary identifiers are drawn anew for each recording, so that they may differ.
std::map<RemotePtr, RemotePtr> pairRepositories(const BlueprintPtr& recorded, const BlueprintPtr& found) {
  using KeyOf = std::function<std::string(const BlueprintPtr&, const RemotePtr&)>;
  KeyOf keys[] = {
      [](const BlueprintPtr&, const RemotePtr& remote) {
        return remote->identifier() ? remote->identifier().str() + "+++" + remote->secondaryIdentifier().str() : "";
      },
      [](const BlueprintPtr& blueprint, const RemotePtr& remote) {
        return blueprint->workingCopyPathForRemoteRepository(remote) ? qrb::standardizedPath(placeOf(blueprint, remote))
                                                                     : "";
      },
      [](const BlueprintPtr&, const RemotePtr& remote) { return remote->identifier().str(); },
  };
  std::map<RemotePtr, RemotePtr> pairs;
  std::set<RemotePtr> taken;
  for (const KeyOf& keyOf : keys) {
    std::multimap<std::string, RemotePtr> byKey;
    for (const RemotePtr& remote : found->remoteRepositories()) {
      if (!taken.contains(remote)) byKey.emplace(keyOf(found, remote), remote);
    }
    for (const RemotePtr& remote : recorded->remoteRepositories()) {
      auto like = pairs.contains(remote) ? byKey.end() : byKey.find(keyOf(recorded, remote));
      if (like == byKey.end() || like->first.empty()) continue;
      pairs.emplace(remote, like->second);
      taken.insert(like->second);
      byKey.erase(like);
    }
  }
  return pairs;
}

BlueprintComparison compareWorkspace(const BlueprintPtr& blueprint, const FoundOfBlueprint& recorded,
                                     const std::vector<QRBSourceControlWorkingCopyPtr>& others,
                                     const std::string& root) {
  BlueprintComparison comparison;
  for (const auto& remote : blueprint->remoteRepositories()) {
    auto workingCopy = recorded.workingCopyOf(remote);
    if (workingCopy == nullptr) {
      comparison.repositories.push_back({placeOf(blueprint, remote), State::missing, {}});
      continue;
    }
    std::vector<Change> changes;
    auto location = blueprint->locationForRemoteRepository(remote);
    // Where nothing is recorded, anything is as recorded.
    if (location != nullptr && !qrb::areEqual(location, workingCopy->cachedCurrentLocation())) {
      addChange(changes, "location", describedLocation(location),
                describedLocation(workingCopy->cachedCurrentLocation()));
    }
    addChange(changes, "path", shownPlace(blueprint, remote), displayPath(placeIn(root, workingCopy)));
    add(comparison, placeIn(root, workingCopy), std::move(changes));
  }
  for (const auto& workingCopy : others) {
    comparison.repositories.push_back({placeIn(root, workingCopy), State::extra, {}});
  }
  comparison.code = codeOf(comparison);
  return comparison;
}

}  // namespace

BlueprintComparison compareBlueprints(const BlueprintPtr& recorded, const BlueprintPtr& found) {
  BlueprintComparison comparison;
  addChange(comparison.changes, "name", shown(recorded->name()), shown(found->name()));
  addChange(comparison.changes, "project", shown(recorded->relativePathToProject()),
            shown(found->relativePathToProject()));
  std::map<RemotePtr, RemotePtr> pairs = pairRepositories(recorded, found);
  std::set<RemotePtr> extra(found->remoteRepositories().begin(), found->remoteRepositories().end());
  for (const auto& remote : recorded->remoteRepositories()) {
    auto pair = pairs.find(remote);
    if (pair == pairs.end()) {
      comparison.repositories.push_back({placeOf(recorded, remote), State::missing, {}});
      continue;
    }
    const RemotePtr& like = pair->second;
    extra.erase(like);
    std::vector<Change> changes;
    addLocationChange(changes, recorded->locationForRemoteRepository(remote), found->locationForRemoteRepository(like));
    addChange(changes, "path", shownPlace(recorded, remote), shownPlace(found, like));
    addChange(changes, "address", addressOf(remote), addressOf(like));
    addChange(changes, "revision", pinOf(recorded, remote), pinOf(found, like));
    add(comparison, placeOf(recorded, remote), std::move(changes));
  }
  for (const auto& remote : found->remoteRepositories()) {
    if (extra.contains(remote)) comparison.repositories.push_back({placeOf(found, remote), State::extra, {}});
  }
  comparison.code = codeOf(comparison);
  return comparison;
}

void printComparison(Session& session, const BlueprintComparison& comparison, const std::string& other) {
  const CodeWords& words = kCodes[comparison.code];
  if (session.json()) {
    JSONValue entry;
    entry["result"] = words.word;
    entry["code"] = comparison.code;
    entry["changes"] = jsonOf(comparison.changes);
    entry["repositories"] = JSONValue::array();
    for (const auto& repository : comparison.repositories) {
      JSONValue& element = entry["repositories"].emplace_back();
      setPath(element, "path", repository.place);
      element["state"] = wordOf(repository.state);
      element["changes"] = jsonOf(repository.changes);
    }
    JSONArray array(session.output());
    array.add(entry);
    return array.finish();
  }
  Output& output = session.output();
  std::string text = words.text;
  output.write(text.replace(text.find("%s"), 2, other) + "\n");
  writeChanges(output, comparison.changes, "");
  for (const auto& repository : comparison.repositories) {
    output.write(styleOf(repository.state), wordOf(repository.state));
    output.write(std::string(9 - std::string_view(wordOf(repository.state)).size(), ' ') +
                 displayPath(repository.place) + "\n");
    writeChanges(output, repository.changes, "           ");
  }
}

ExitStatus runWorkspaceComparison(Session& session, const std::string& blueprintFile, const std::string& folder) {
  session.endUnread();
  auto read = readBlueprint(session, blueprintFile);
  if (!read) return session.fail(read.error());
  auto found = findWorkspace(session, folder);
  if (!found) return session.fail(found.error());
  auto recorded = findOfBlueprint(session, read->blueprint, found->root);
  if (!recorded) return session.fail(recorded.error());
  std::vector<QRBSourceControlWorkingCopyPtr> others;
  for (const auto& workingCopy : found->workspace->workingCopies()) {
    if (!recorded->remotes->contains(workingCopy)) others.push_back(workingCopy);
  }
  Failures failures = learnLocations(session, found->root, others);
  printComparison(session, compareWorkspace(read->blueprint, *recorded, others, found->root), "workspace");
  ExitStatus status = failWith(session, "Some working copies could not be looked at:", failures);
  return isWhole(read->blueprint) ? status : ExitStatus::failed;
}

}  // namespace host
