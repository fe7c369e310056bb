#pragma once

#include <span>
#include <string>
#include <vector>

#include "HostileCase.h"
#include "Random.h"

namespace qrb::hostile {

/// What a mutation works on.
struct Site {
  FileTree& tree;
  /// Follows where the parts of the repository are moved to.
  Place& place;
  Random& random;
};

/// One kind of change to a repository. A variant below `variants` says which change it is; what it leaves open follows
/// from the random numbers. Where a change makes no sense for a layout it does nothing.
struct Mutation {
  const char* name;
  std::size_t variants;
  void (*apply)(Site& site, std::size_t variant);
  /// What exactly the variant is, for people.
  std::string (*describe)(std::size_t variant);
};

/// All kinds, in the order in which several of them are applied to one repository: what the files say comes before
/// where they lie.
std::span<const Mutation> allMutations();

// The groups that these are made of.
std::span<const Mutation> configurationMutations();
std::span<const Mutation> contentMutations();
std::span<const Mutation> fileMutations();
std::span<const Mutation> layoutMutations();

/// A command that leaves the case's mark and, where a shell runs it, hands on what it gets.
std::string evilCommand(Random& random);
/// Adds the text of one setting to a configuration. A subsection may be empty.
void addSetting(FileTree& tree, const std::string& file, const std::string& section, const std::string& subsection,
                const std::string& key, const std::string& value);
/// Makes every file pass a filter "evil", which the repository's own configuration names.
void addBait(Site& site);

/// A file of a repository by a short name such as "HEAD" or "config"; of the working copy with "./" before it.
std::string fileAt(const Place& place, const std::string& name);

/// Where a folder has been moved to, and a text that leads there from another folder.
struct Spelling {
  std::string text;
  std::string path;
};
std::size_t spellingCount();
/// Moves the folder `from` to below or beside `base`, and spells the way.
Spelling spell(FileTree& tree, const std::string& base, const std::string& from, std::size_t variant);
/// What may stand after a path in a file of one line.
const std::vector<std::string>& tails();

}  // namespace qrb::hostile
