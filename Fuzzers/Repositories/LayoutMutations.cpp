#include <algorithm>
#include <filesystem>
#include <iterator>

#include "Mutations.h"

// Where the parts of a repository lie, and how the one-line files between them say so.
namespace qrb::hostile {
namespace {

namespace fs = std::filesystem;

constexpr const char* harmlessConfiguration = "[core]\n\trepositoryFormatVersion = 0\n";

std::string repeated(std::string_view text, std::size_t count) {
  std::string result;
  for (std::size_t number = 0; number < count; ++number) result += text;
  return result;
}

struct Way {
  const char* name;
  Spelling (*make)(FileTree& tree, const std::string& base, const std::string& from);
};

Spelling moved(FileTree& tree, const std::string& from, const std::string& path, const std::string& text) {
  tree.move(from, path);
  return {text, path};
}

Spelling plain(FileTree& tree, const std::string& base, const std::string& from, const std::string& before,
               const std::string& name, const std::string& after = {}) {
  return moved(tree, from, base + "/" + name, before + name + after);
}

/// By a link: what the text means without looking at the disk is a harmless repository.
Spelling pastLink(FileTree& tree, const std::string& base, const std::string& from, const std::string& target) {
  tree.copy(from, base + "/x/real");
  tree.file(base + "/x/real/config", harmlessConfiguration);
  tree.link(base + "/x/link", target);
  tree.folder("elsewhere/deep");
  return moved(tree, from, "elsewhere/real", "x/link/../real");
}

constexpr Way ways[] = {
    {"plain", [](FileTree& tree, const std::string& base,
                 const std::string& from) { return plain(tree, base, from, "", "real"); }},
    {"dot", [](FileTree& tree, const std::string& base,
               const std::string& from) { return plain(tree, base, from, "./", "real"); }},
    {"slashes", [](FileTree& tree, const std::string& base,
                   const std::string& from) { return plain(tree, base, from, "", "real", "///"); }},
    {"up and down",
     [](FileTree& tree, const std::string& base, const std::string& from) {
       return plain(tree, base, from, "../" + base.substr(base.rfind('/') + 1) + "/", "real");
     }},
    {"absolute", [](FileTree& tree, const std::string& base,
                    const std::string& from) { return plain(tree, base, from, "@CASE@/" + base + "/", "real"); }},
    {"outside", [](FileTree& tree, const std::string&,
                   const std::string& from) { return moved(tree, from, "elsewhere", "@CASE@/elsewhere"); }},
    {"past a link", [](FileTree& tree, const std::string& base,
                       const std::string& from) { return pastLink(tree, base, from, "@CASE@/elsewhere/deep"); }},
    {"past a relative link",
     [](FileTree& tree, const std::string& base, const std::string& from) {
       return pastLink(tree, base, from,
                       repeated("../", static_cast<std::size_t>(std::ranges::count(base, '/')) + 2) + "elsewhere/deep");
     }},
    {"link",
     [](FileTree& tree, const std::string& base, const std::string& from) {
       Spelling result = plain(tree, base, from, "", "real");
       tree.link(base + "/alias", "real");
       return Spelling{"alias", result.path};
     }},
    {"links",
     [](FileTree& tree, const std::string& base, const std::string& from) {
       Spelling result = plain(tree, base, from, "", "real");
       tree.link(base + "/alias", "other-alias/.");
       tree.link(base + "/other-alias", "@CASE@/" + base + "/real");
       return Spelling{"alias", result.path};
     }},
    {"missing folder", [](FileTree& tree, const std::string& base,
                          const std::string& from) { return plain(tree, base, from, "missing/../", "real"); }},
    {"long", [](FileTree& tree, const std::string& base,
                const std::string& from) { return plain(tree, base, from, repeated("./", 1900), "real"); }},
    {"too long", [](FileTree& tree, const std::string& base,
                    const std::string& from) { return plain(tree, base, from, repeated("./", 4500), "real"); }},
    {"space after", [](FileTree& tree, const std::string& base,
                       const std::string& from) { return plain(tree, base, from, "", "real "); }},
    {"space before", [](FileTree& tree, const std::string& base,
                        const std::string& from) { return plain(tree, base, from, "", " real"); }},
    {"carriage return", [](FileTree& tree, const std::string& base,
                           const std::string& from) { return plain(tree, base, from, "", "real\r"); }},
    {"line feed", [](FileTree& tree, const std::string& base,
                     const std::string& from) { return plain(tree, base, from, "", "re\nal"); }},
    {"line feed at the end", [](FileTree& tree, const std::string& base,
                                const std::string& from) { return plain(tree, base, from, "", "real\n"); }},
    {"bytes", [](FileTree& tree, const std::string& base,
                 const std::string& from) { return plain(tree, base, from, "", "\xff\xc0\x80"); }},
    {".git", [](FileTree& tree, const std::string& base,
                const std::string& from) { return plain(tree, base, from, "", "sub/.git"); }},
};

const std::vector<std::string>& labels() {
  static const std::vector<std::string> all = {
      "gitdir: ", "GITDIR: ", "gitdir:", "gitdir:  ", "gitdir:\t", "\xef\xbb\xbfgitdir: ", "\ngitdir: ", " gitdir: "};
  return all;
}

void applyPointer(Site& site, std::size_t variant) {
  std::string entry = site.place.root + "/.git";
  if (!site.tree.contains(entry)) return;
  std::string pristine = site.place.git;
  bool isWhole = site.place.common == site.place.git;
  // What is moved away from below .git makes place for the file.
  Spelling spelling = spell(site.tree, site.place.root, pristine, variant / tails().size());
  std::string label = site.random.oneIn(6) ? site.random.oneOf(labels()) : labels().front();
  site.tree.file(entry, label + spelling.text + tails()[variant % tails().size()]);
  site.place.git = spelling.path;
  if (isWhole) {
    site.place.common = spelling.path;
  } else if (site.tree.contains(spelling.path + "/commondir")) {
    site.tree.file(spelling.path + "/commondir", "@CASE@/" + site.place.common + "\n");
  }
}

std::string describeWay(std::size_t variant) {
  return std::string(ways[variant / tails().size()].name) + ", tail " + std::to_string(variant % tails().size());
}

void applyCommonDirectory(Site& site, std::size_t variant) {
  if (site.place.common != site.place.git) return;
  std::string git = site.place.git;
  std::string collected = git + "/collected";
  for (const char* name : {"config", "objects", "refs", "packed-refs", "info", "hooks", "logs"}) {
    site.tree.move(git + "/" + name, collected + "/" + name);
  }
  Spelling spelling = spell(site.tree, git, collected, variant / tails().size());
  site.tree.file(git + "/commondir", spelling.text + tails()[variant % tails().size()]);
  site.place.common = spelling.path;
  // A harmless one where somebody may look who does not read the file.
  if (site.random.oneIn(2)) site.tree.file(git + "/config", harmlessConfiguration);
}

const std::vector<std::string>& heads() {
  const std::string& name = TemplateRevisions::head();
  static std::string upper = name;
  std::ranges::transform(upper, upper.begin(), [](char letter) {
    return letter >= 'a' && letter <= 'f' ? static_cast<char>(letter - 32) : letter;
  });
  static const std::vector<std::string> all = {
      name + "\n",
      upper + "\n",
      name,
      name + " junk\n",
      name + "junk\n",
      name + "\n\njunk",
      name + std::string("\0junk", 5),
      name + "\r\n",
      name + "\t\n",
      " " + name,
      upper + " junk",
      name + std::string(9000, '\n'),
      name + std::string(9000, ' '),
      name.substr(0, 20) + upper.substr(20),
      name + "a\n",
      name + "0123456789abcdef01234567\n",
      std::string(40, '0'),
      "ref:refs/heads/main\n",
      "ref:\trefs/heads/main\n",
      "ref:   refs/heads/main\n",
      "REF: refs/heads/main\n",
      "ref: refs/heads/main junk\n",
      "ref: refs/heads/main" + std::string(9000, '\n'),
      "ref: refs/heads/main\r\n",
      "ref: refs/heads/main" + std::string("\0x\n", 3),
      "ref: refs/heads/../heads/main\n",
      "ref: refs/heads/missing\n",
      "ref: refs/heads/" + std::string(5000, 'x'),
      "ref: HEAD\n",
      "ref: config\n",
      "ref: ../../victim/file\n",
      "ref: refs/\n",
      "ref:",
      "ref: ",
      "ref: refs/remotes/origin/main",
      "ref: main\n",
      "ref: refs/heads/main\nref: refs/heads/side\n",
      "ref: refs/heads/.invalid\n",
      "ref: refs/heads/main.lock\n",
      "ref: refs/heads/@{\n",
      "ref: refs/heads/-q\n",
      "ref: refs/worktree/x\n",
      "ref: main-worktree/HEAD\n",
      "ref: @CASE@/victim/file\n",
  };
  return all;
}

void applyHead(Site& site, std::size_t variant) {
  site.tree.file(site.place.git + "/HEAD", heads()[variant]);
}

std::string describeHead(std::size_t variant) {
  return heads()[variant].substr(0, 70);
}

constexpr const char* headLinks[] = {"refs/heads/main",    "refs/heads/missing",      "refs/../HEAD", "../x",
                                     "@CASE@/victim/file", "refs/heads/../../config", "refs",         "/dev/zero",
                                     "refs/heads",         "./refs/heads/main"};

void applyHeadLink(Site& site, std::size_t variant) {
  site.tree.link(site.place.git + "/HEAD", headLinks[variant]);
}

std::string describeHeadLink(std::size_t variant) {
  return headLinks[variant];
}

/// An entry beside which, or behind which, another repository lies that is really looked at.
void applyDecoy(Site& site, std::size_t variant) {
  const std::string& root = site.place.root;
  if (site.place.git != root + "/.git" || site.place.common != site.place.git) return;
  FileTree& tree = site.tree;
  switch (variant) {
    case 0:  // Git passes over an empty folder, and the folder around it is a repository of its own.
    case 1:
    case 2:
      for (const std::string& name : tree.namesIn(root + "/.git")) tree.move(root + "/.git/" + name, root + "/" + name);
      tree.folder(root + "/.git");
      if (variant > 0)
        addSetting(tree, root + "/config", "core", "", "worktree", variant == 1 ? "@CASE@/" + root + "/.git" : ".git");
      if (variant == 1) {
        for (const char* name : {"file", "other", ".gitattributes"})
          tree.move(root + "/" + name, root + "/.git/" + name);
      }
      site.place.git = site.place.common = root;
      break;
    case 3:  // A link to the folder.
      tree.move(root + "/.git", "elsewhere");
      tree.link(root + "/.git", "@CASE@/elsewhere");
      site.place.git = site.place.common = "elsewhere";
      break;
    case 4:  // A link to a pointer, whose path is meant from where the link is.
      tree.copy(root + "/.git", root + "/real");
      tree.move(root + "/.git", "elsewhere/real");
      tree.file("elsewhere/real/config", harmlessConfiguration);
      tree.file("elsewhere/pointer", "gitdir: real\n");
      tree.link(root + "/.git", "@CASE@/elsewhere/pointer");
      site.place.git = site.place.common = root + "/real";
      break;
    case 5:  // A repository whose folder holds a pointer of that name as well.
      tree.file(root + "/.git/.git", "gitdir: ../.git\n");
      break;
    default:  // A pointer to a pointer.
      tree.move(root + "/.git", root + "/real/.git");
      tree.file(root + "/.git", "gitdir: real\n");
      site.place.git = site.place.common = root + "/real/.git";
  }
}

std::string describeNumber(std::size_t variant) {
  return std::to_string(variant);
}

const std::vector<Mutation>& mutations() {
  static const std::vector<Mutation> all = {
      {"HEAD", heads().size(), applyHead, describeHead},
      {"HEAD is a link", std::size(headLinks), applyHeadLink, describeHeadLink},
      {"commondir", std::size(ways) * tails().size(), applyCommonDirectory, describeWay},
      {"decoy", 7, applyDecoy, describeNumber},
      {"pointer", std::size(ways) * tails().size(), applyPointer, describeWay},
  };
  return all;
}

}  // namespace

std::span<const Mutation> layoutMutations() {
  return mutations();
}

std::size_t spellingCount() {
  return std::size(ways);
}

Spelling spell(FileTree& tree, const std::string& base, const std::string& from, std::size_t variant) {
  return ways[variant].make(tree, base, from);
}

const std::vector<std::string>& tails() {
  static const std::vector<std::string> all = {
      "\n",
      "",
      "\r\n",
      "\r",
      std::string(9000, '\n'),
      std::string(9000, '\r'),
      repeated("\r\n", 5000),
      std::string(8000, '\n'),
      std::string(200'000, '\n'),
      std::string("\0", 1),
      std::string("\0junk\n", 6),
      " \n",
      "\njunk\n",
      "/\n",
      "\n\n",
      "\t\n",
      "\n" + std::string(9000, ' '),
  };
  return all;
}

std::span<const Mutation> allMutations() {
  static const std::vector<Mutation> all = [] {
    std::vector<Mutation> joined;
    for (auto group : {configurationMutations(), contentMutations(), fileMutations(), layoutMutations()}) {
      joined.insert(joined.end(), group.begin(), group.end());
    }
    return joined;
  }();
  return all;
}

}  // namespace qrb::hostile
