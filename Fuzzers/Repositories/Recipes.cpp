#include "Recipes.h"

#include <algorithm>

#include "Mutations.h"

namespace qrb::hostile {
namespace {

std::string root = repositoryFolder;
const std::string entry = root + "/.git";

/// Has every file pass a filter that leaves the mark. All other recipes are about where this lies.
void addFilter(HostileCase& hostile, const Place& place) {
  addSetting(hostile.tree, place.common + "/config", "filter", "evil", "clean", ": >@MARK@; cat");
  addSetting(hostile.tree, place.common + "/config", "filter", "evil", "smudge", ": >@MARK@; cat");
  hostile.tree.file(place.root + "/.gitattributes", "* filter=evil\n");
}

void addFilter(HostileCase& hostile) {
  addFilter(hostile, hostile.places.front());
}

void addHarmlessAt(HostileCase& hostile, const std::string& from, const std::string& path) {
  hostile.tree.copy(from, path);
  hostile.tree.file(path + "/config", "[core]\n\trepositoryFormatVersion = 0\n");
}

std::string upper(std::string text) {
  std::ranges::transform(text, text.begin(), [](char letter) {
    return letter >= 'a' && letter <= 'f' ? static_cast<char>(letter - 'a' + 'A') : letter;
  });
  return text;
}

void setHead(HostileCase& hostile, const std::string& text) {
  addFilter(hostile);
  hostile.tree.file(hostile.places.front().git + "/HEAD", text);
}

void setRefs(HostileCase& hostile, const Place& place) {
  addFilter(hostile, place);
  hostile.tree.file(place.common + "/refs", "", 0755);
}

void pointPastLink(HostileCase& hostile, Place& place) {
  addFilter(hostile, place);
  std::string real = place.root + "/x/real";
  addHarmlessAt(hostile, place.git, real);
  hostile.tree.move(place.git, "elsewhere/real");
  hostile.tree.folder("elsewhere/deep");
  hostile.tree.link(place.root + "/x/link", "@CASE@/elsewhere/deep");
  hostile.tree.file(place.root + "/.git", "gitdir: x/link/../real\n");
  place.git = place.common = "elsewhere/real";
}

/// Only a time stamp has changed, so that git has nothing to tell and the index to write.
void addIndexHook(HostileCase& hostile, const std::string& folder, const std::string& path) {
  hostile.tree.file(root + "/file", "two\n");
  hostile.tree.file(folder + "/post-index-change", "#!/bin/sh\n: >@MARK@\n", 0755);
  if (!path.empty()) addSetting(hostile.tree, entry + "/config", "core", "", "hooksPath", path);
}

void setWorktree(HostileCase& hostile) {
  addFilter(hostile);
  addSetting(hostile.tree, hostile.places.front().common + "/config", "core", "", "worktree", "@CASE@/victim");
}

const std::string& lineFeeds() {
  static const std::string text(9000, '\n');
  return text;
}

constexpr Recipe recipes[] = {
    {"filter", "plain", [](HostileCase& hostile) { addFilter(hostile); }},
    {"pointer with line feeds", "pointer",
     [](HostileCase& hostile) {
       addFilter(hostile);
       hostile.tree.append(entry, lineFeeds());
     }},
    {"commondir with line feeds", "commondir",
     [](HostileCase& hostile) {
       addFilter(hostile);
       hostile.tree.append(entry + "/commondir", lineFeeds());
     }},
    {"HEAD with line feeds", "plain",
     [](HostileCase& hostile) { setHead(hostile, "ref: refs/heads/main" + lineFeeds()); }},
    {"HEAD in upper case", "plain", [](HostileCase& hostile) { setHead(hostile, upper(TemplateRevisions::head())); }},
    {"HEAD with junk", "plain",
     [](HostileCase& hostile) { setHead(hostile, TemplateRevisions::head() + " and more\n"); }},
    {"refs is a program", "plain", [](HostileCase& hostile) { setRefs(hostile, hostile.places.front()); }},
    {"empty .git", "bare",
     [](HostileCase& hostile) {
       Place place{entry, root, root};
       hostile.tree.file(root + "/config",
                         "[core]\n\trepositoryFormatVersion = 0\n\tworktree = @CASE@/" + entry + "\n");
       hostile.tree.folder(entry);
       hostile.tree.file(entry + "/file", "2wo\n");
       addFilter(hostile, place);
     }},
    {"pointer past a link", "plain", [](HostileCase& hostile) { pointPastLink(hostile, hostile.places.front()); }},
    {"submodule: filter", "submodule", [](HostileCase& hostile) { addFilter(hostile, hostile.places[1]); }},
    {"submodule: pointer with line feeds", "submodule",
     [](HostileCase& hostile) {
       addFilter(hostile, hostile.places[1]);
       hostile.tree.append(root + "/sub/.git", lineFeeds());
     }},
    {"submodule: refs is a program", "submodule", [](HostileCase& hostile) { setRefs(hostile, hostile.places[1]); }},
    {"submodule: HEAD with line feeds", "embedded submodule",
     [](HostileCase& hostile) {
       addFilter(hostile, hostile.places[1]);
       hostile.tree.append(hostile.places[1].git + "/HEAD", lineFeeds());
     }},
    {"submodule: pointer past a link", "embedded submodule",
     [](HostileCase& hostile) { pointPastLink(hostile, hostile.places[1]); }},
    {"hook", "plain", [](HostileCase& hostile) { addIndexHook(hostile, entry + "/hooks", ""); }},
    {"hook in a folder of its own", "plain",
     [](HostileCase& hostile) { addIndexHook(hostile, "hooks", "@CASE@/hooks"); }},
    {"worktree elsewhere", "plain", setWorktree},
    {"worktree elsewhere, pointer with line feeds", "pointer",
     [](HostileCase& hostile) {
       setWorktree(hostile);
       hostile.tree.append(entry, lineFeeds());
     }},
    {"worktree elsewhere, refs is a program", "plain",
     [](HostileCase& hostile) {
       setWorktree(hostile);
       hostile.tree.file(entry + "/refs", "", 0755);
     }},
    {"worktree elsewhere, HEAD with junk", "plain",
     [](HostileCase& hostile) {
       setWorktree(hostile);
       hostile.tree.file(entry + "/HEAD", TemplateRevisions::head() + " and more\n");
     }},
    {"worktree elsewhere, commondir with line feeds", "commondir",
     [](HostileCase& hostile) {
       setWorktree(hostile);
       hostile.tree.append(entry + "/commondir", lineFeeds());
     }},
};

}  // namespace

std::span<const Recipe> allRecipes() {
  return recipes;
}

HostileCase makeCase(const std::vector<Template>& templates, const Recipe& recipe) {
  const Template& layout = templateNamed(templates, recipe.layout);
  HostileCase hostile{layout.name + "; " + recipe.name, layout.tree, layout.places};
  recipe.apply(hostile);
  return hostile;
}

}  // namespace qrb::hostile
