#pragma once

#include <span>
#include <string>
#include <vector>

#include "HostileCase.h"

namespace qrb::hostile {

/// A trick that has been known to make git run a program that a repository names, or change files elsewhere.
struct Recipe {
  const char* name;
  /// The template that it begins with.
  const char* layout;
  void (*apply)(HostileCase& hostile);
};

std::span<const Recipe> allRecipes();
HostileCase makeCase(const std::vector<Template>& templates, const Recipe& recipe);

}  // namespace qrb::hostile
