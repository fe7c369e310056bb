#pragma once

#include <string>
#include <vector>

#include "SubversionClient.h"

/// Where an external definition leads, and why nobody goes there: empty where somebody may. Definitions come with a
/// working copy, so whoever can commit to it writes them: they stay on the repository's own server, reached in the same
/// way, or in the same repository where that is on this machine, and in the folder that has the definition.
struct SubversionExternalPlace {
  std::string url;
  std::string refusal;
};
/// `rootURL` and `folderURL` are those of the repository and of the folder that has the definition. Pure.
SubversionExternalPlace subversionPlaceOf(const SubversionExternal& external, const std::string& rootURL,
                                          const std::string& folderURL);

/// Checks out, updates or switches what the definitions of a working copy name, and what theirs name in turn. `leftOut`
/// gets a line for each that was not brought, and why.
SubversionFailure subversionBringExternals(SubversionClient& client, const std::string& root,
                                           std::vector<std::string>& leftOut);
