#include <benchmark/benchmark.h>

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <limits>

#include "QRBSourceControlBranch.h"
#include "QRBSourceControlManager.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlSystem.h"
#include "QRBSourceControlWorkspaceBlueprint.h"

// Large blueprints. Each step is to grow with the repositories, or as sorting them does: by 10 to 13 from 1,000 to
// 10,000.

namespace {

using Blueprint = QRBSourceControlWorkspaceBlueprint;
using BlueprintPtr = QRBSourceControlWorkspaceBlueprintPtr;

constexpr std::uint64_t kOptions = 0x1f4;

// Names come in no order, a tenth of the repositories share their identifiers, all have a branch and a state.
BlueprintPtr makeBlueprint(std::int64_t count) {
  auto system = QRBSourceControlSystem::initWithName("Git", "org.qrb.Orlix.sourcecontrol.Git", "1", ".git", {}, true,
                                                     true, false, false, false, 7);
  QRBSourceControlManager::sharedInstance()->setCachedSourceControlSystems(
      std::make_shared<const QRBSourceControlSystem::Systems>(QRBSourceControlSystem::Systems{system}));
  Blueprint::RemoteRepositories repositories;
  auto states = std::make_shared<Blueprint::States>();
  auto paths = std::make_shared<Blueprint::Paths>();
  auto locations = std::make_shared<Blueprint::Locations>();
  for (std::int64_t number = 0; number < count; ++number) {
    std::string name = "repository-" + std::to_string(number * 7919 % count) + "-" + std::to_string(number);
    auto repository = QRBSourceControlRemoteRepository::initUnsavedWithURL(
        qrb::URL("https://git.example.org/team/" + name + ".git"), "IDENTIFIER-" + std::to_string(number - number % 10),
        "SECONDARY-" + std::to_string(number), system);
    states->set(repository, 1);
    paths->set(repository, "Libraries/" + name);
    locations->set(repository, QRBSourceControlBranch::initWithBranchName("feature/" + name, false));
    repositories.push_back(std::move(repository));
  }
  auto primary = repositories.front();
  return Blueprint::initWithPrimaryRemoteRepository(primary, "App.orlixproj", std::move(repositories), states, paths,
                                                    nullptr, locations, "Large", false);
}

void loadBlueprint(benchmark::State& state) {
  std::string text = *makeBlueprint(state.range(0))->jsonDataRepresentationWithOptions(kOptions);
  for (auto _ : state) {
    auto blueprint = Blueprint::initWithJSONData(text);
    if (std::ssize(blueprint->remoteRepositories()) != state.range(0)) return state.SkipWithError("some are missing");
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}

void validateBlueprint(benchmark::State& state) {
  auto file = makeBlueprint(state.range(0))->dictionaryRepresentationWithOptions(kOptions);
  for (auto _ : state) {
    if (!Blueprint::validateDictionary(file)) return state.SkipWithError("it is not valid");
  }
}

void mergeBlueprint(benchmark::State& state) {
  auto blueprint = makeBlueprint(state.range(0));
  auto same = std::static_pointer_cast<Blueprint>(blueprint->copy());
  for (auto _ : state) {
    blueprint->mergeWithBlueprint(same);
    if (std::ssize(blueprint->remoteRepositories()) != state.range(0)) return state.SkipWithError("not the same");
  }
}

void saveBlueprint(benchmark::State& state) {
  auto blueprint = makeBlueprint(state.range(0));
  auto folder = qrb::URL::fileURL(std::filesystem::temp_directory_path().string(), true);
  qrb::URL saved;
  for (auto _ : state) {
    saved = blueprint->saveBlueprintInFolder(folder, kOptions | static_cast<std::uint64_t>(state.range(1)));
    if (!saved) return state.SkipWithError("it could not be saved");
  }
  std::filesystem::remove(saved.path().str());
}

// Of the processor, since what else the machine does would count ten times as often at one size.
double millisecondsOfAll(const std::string& text, std::int64_t count) {
  std::clock_t start = std::clock();
  auto dictionary = Blueprint::dictionaryFromJSONData(text);
  if (!dictionary || !Blueprint::validateDictionary(*dictionary)) return 0;
  auto blueprint = Blueprint::initWithDictionary(*dictionary);
  blueprint->mergeWithBlueprint(blueprint);
  auto written = blueprint->jsonDataRepresentationWithOptions(kOptions);
  double taken = 1000.0 * static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
  return written == text && std::ssize(blueprint->remoteRepositories()) == count ? taken : 0;
}

// All steps one after another at both sizes, and how they grow: the best of several rounds each.
void growBlueprint(benchmark::State& state) {
  std::string small = *makeBlueprint(1000)->jsonDataRepresentationWithOptions(kOptions);
  std::string large = *makeBlueprint(10000)->jsonDataRepresentationWithOptions(kOptions);
  double ofSmall = std::numeric_limits<double>::max();
  double ofLarge = ofSmall;
  for (auto _ : state) {
    ofSmall = std::min(ofSmall, millisecondsOfAll(small, 1000));
    ofLarge = std::min(ofLarge, millisecondsOfAll(large, 10000));
    if (ofSmall == 0 || ofLarge == 0) return state.SkipWithError("a blueprint came out wrong");
  }
  state.counters["ms_1000"] = ofSmall;
  state.counters["ms_10000"] = ofLarge;
  state.counters["ratio"] = ofLarge / ofSmall;
}

BENCHMARK(loadBlueprint)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(validateBlueprint)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(mergeBlueprint)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(saveBlueprint)->ArgsProduct({{1000, 10000}, {0, 1}})->Unit(benchmark::kMillisecond);
BENCHMARK(growBlueprint)->Iterations(5)->Unit(benchmark::kMillisecond);

}  // namespace
