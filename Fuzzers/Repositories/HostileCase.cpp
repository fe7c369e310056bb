#include "HostileCase.h"

#include <algorithm>

#include "Mutations.h"
#include "Random.h"
#include "Recipes.h"

namespace qrb::hostile {
namespace {

/// How control characters and long texts come into a description of one line.
std::string printable(const std::string& text) {
  constexpr std::size_t longest = 90;
  std::string result;
  for (char letter : text.substr(0, longest)) result += letter >= ' ' && letter <= '~' ? letter : '?';
  return result;
}

void apply(HostileCase& hostile, std::size_t place, const Mutation& mutation, std::size_t variant, Random& random) {
  hostile.description +=
      "; " + std::string(place > 0 ? "submodule: " : "") + mutation.name + ": " + printable(mutation.describe(variant));
  Site site{hostile.tree, hostile.places[place], random};
  mutation.apply(site, variant);
}

void bait(HostileCase& hostile, Random& random) {
  for (Place& place : hostile.places) {
    Site site{hostile.tree, place, random};
    addBait(site);
  }
  // Only a time stamp has changed then.
  if (random.oneIn(3)) hostile.tree.file(hostile.places.front().root + "/file", "two\n");
}

/// One change alone, so that what it does is not hidden by others.
HostileCase makeSingle(const std::vector<Template>& templates, std::uint64_t seed, std::uint64_t number) {
  Random random(seed, number);
  // Neighbours in number are no neighbours in kind, so that a short campaign meets all kinds.
  constexpr std::size_t stride = 7919;
  std::size_t variant = (static_cast<std::size_t>(number) - recipeCount()) * stride % singleCount();
  for (const Mutation& mutation : allMutations()) {
    if (variant < mutation.variants) {
      const Template& layout = random.oneIn(2) ? templates.front() : random.oneOf(templates);
      HostileCase hostile{layout.name, layout.tree, layout.places};
      bait(hostile, random);
      apply(hostile, random.below(layout.places.size()), mutation, variant, random);
      return hostile;
    }
    variant -= mutation.variants;
  }
  return {};
}

HostileCase makeMixture(const std::vector<Template>& templates, std::uint64_t seed, std::uint64_t number) {
  Random random(seed, number);
  const Template& layout = random.oneOf(templates);
  HostileCase hostile{layout.name, layout.tree, layout.places};
  bait(hostile, random);
  auto mutations = allMutations();
  for (std::size_t place = 0; place < layout.places.size(); ++place) {
    std::vector<std::size_t> chosen(1 + random.below(4));
    for (std::size_t& choice : chosen) choice = random.below(mutations.size());
    std::ranges::sort(chosen);
    for (std::size_t choice : chosen) {
      const Mutation& mutation = mutations[choice];
      // Settings are many, and one seldom hides another.
      std::size_t times = choice == 0 ? 1 + random.below(5) : 1;
      for (std::size_t time = 0; time < times; ++time) {
        apply(hostile, place, mutation, random.below(mutation.variants), random);
      }
    }
  }
  return hostile;
}

}  // namespace

std::size_t recipeCount() {
  return allRecipes().size();
}

std::size_t singleCount() {
  std::size_t count = 0;
  for (const Mutation& mutation : allMutations()) count += mutation.variants;
  return count;
}

HostileCase makeCase(const std::vector<Template>& templates, std::uint64_t seed, std::uint64_t number) {
  if (number < recipeCount()) return makeCase(templates, allRecipes()[number]);
  if (number < recipeCount() + singleCount()) return makeSingle(templates, seed, number);
  return makeMixture(templates, seed, number);
}

}  // namespace qrb::hostile
