#include <array>

#include "Mutations.h"

namespace qrb::hostile {
namespace {

struct Attributes {
  /// Of the repository; with "./" before it of the working copy.
  const char* file;
  const char* text;
};

constexpr Attributes attributes[] = {
    {"./.gitattributes", "* filter=evil diff=evil merge=evil\n"},
    {"info/attributes", "* filter=evil diff=evil merge=evil\n"},
    {"./folder/.gitattributes", "* filter=evil\n"},
    {"./.gitattributes", "[attr]m filter=evil diff=evil\n* m\n"},
    {"./.gitattributes", "\"f\\151le\" filter=evil\n"},
    {"./.gitattributes", "\xef\xbb\xbf* filter=evil\n"},
    {"./.gitattributes", "* filter=evil\r\n"},
    {"./.gitattributes", "* working-tree-encoding=UTF-16 filter=evil\n"},
    {"./.gitattributes", "* working-tree-encoding=evil\n"},
    {"./.gitattributes", "* text=auto eol=crlf ident filter=evil\n"},
    {"./.gitattributes", "* filter diff=evil\n"},
    {"./.gitattributes", "* filter= diff= merge=\n"},
    {"./.gitattributes", "**************************a filter=evil\nf* filter=evil\n"},
    {"./.gitattributes", "* diff=evil -text\n"},
    {"./.gitattributes", "file filter=other\nother filter=evil\n"},
};

void applyAttributes(Site& site, std::size_t variant) {
  site.tree.file(fileAt(site.place, attributes[variant].file), attributes[variant].text);
}

std::string describeAttributes(std::size_t variant) {
  return std::string(attributes[variant].file) + " " + attributes[variant].text;
}

constexpr std::array hooks = {
    "applypatch-msg",     "pre-applypatch",     "post-applypatch",       "pre-commit",       "pre-merge-commit",
    "prepare-commit-msg", "commit-msg",         "post-commit",           "pre-rebase",       "post-checkout",
    "post-merge",         "pre-push",           "pre-receive",           "update",           "proc-receive",
    "post-receive",       "post-update",        "reference-transaction", "push-to-checkout", "pre-auto-gc",
    "post-rewrite",       "sendemail-validate", "fsmonitor-watchman",    "p4-pre-submit",    "post-index-change",
};
constexpr std::array hookFolders = {"hooks", "./hooks", "./.githooks", "/hooks", "/elsewhere"};

void applyHooks(Site& site, std::size_t variant) {
  std::string name = hookFolders[variant % std::size(hookFolders)];
  std::string folder = name[0] == '/' ? name.substr(1) : fileAt(site.place, name);
  for (const char* hook : hooks) {
    if (variant < std::size(hookFolders)) {
      site.tree.file(folder + "/" + hook, "#!/bin/sh\n: >@MARK@\n", 0755);
    } else {
      site.tree.program(folder + "/" + hook);
    }
  }
  constexpr std::array paths = {"", "hooks", ".githooks", "@CASE@/hooks", "../../elsewhere"};
  std::string path = paths[variant % std::size(hookFolders)];
  if (!path.empty()) addSetting(site.tree, site.place.common + "/config", "core", "", "hooksPath", path);
}

std::string describeHooks(std::size_t variant) {
  return hookFolders[variant % std::size(hookFolders)];
}

// Files of the working copy that are not what is tracked; those changed in their time alone are there in all cases.
struct WorkingFile {
  const char* name;
  void (*apply)(FileTree& tree, const std::string& root);
};

constexpr WorkingFile workingFiles[] = {
    {"unchanged", [](FileTree& tree, const std::string& root) { tree.file(root + "/file", "two\n"); }},
    {"all unchanged",
     [](FileTree& tree, const std::string& root) {
       tree.file(root + "/file", "two\n"), tree.file(root + "/other", "one\n");
     }},
    {"longer", [](FileTree& tree, const std::string& root) { tree.file(root + "/file", "two\nthree\n"); }},
    {"renamed", [](FileTree& tree, const std::string& root) { tree.move(root + "/other", root + "/another"); }},
    {"mode", [](FileTree& tree, const std::string& root) { tree.file(root + "/file", "two\n", 0755); }},
    {"folder is a link", [](FileTree& tree, const std::string& root) { tree.link(root + "/folder", "@CASE@/victim"); }},
    {"folder is a repository",
     [](FileTree& tree, const std::string& root) { tree.copy(root + "/.git", root + "/folder/.git"); }},
    {"new folder is a repository",
     [](FileTree& tree, const std::string& root) {
       tree.copy(root + "/.git", root + "/new/.git");
       tree.file(root + "/new/file", "2wo\n");
       tree.file(root + "/new/.gitattributes", "* filter=evil\n");
     }},
    {"link out", [](FileTree& tree, const std::string& root) { tree.link(root + "/file", "../victim/file"); }},
    {"deep",
     [](FileTree& tree, const std::string& root) {
       std::string path = root + "/new";
       for (int depth = 0; depth < 500; ++depth) path += "/d";
       tree.file(path + "/file", "x");
     }},
    {"names that are options",
     [](FileTree& tree, const std::string& root) {
       for (const char* name : {"--help", "-c", ":(top)x", "--upload-pack=evil", "new\nline", "\xff"}) {
         tree.file(root + "/" + name, "x");
       }
     }},
    {"names of programs",
     [](FileTree& tree, const std::string& root) {
       for (const char* name : {"git", "sh", "cat", "less", "ssh", "gpg", "git-remote-ext", "bin/git"}) {
         tree.file(root + "/" + name, "#!/bin/sh\n: >@MARK@\n", 0755);
       }
     }},
    {"files of a bare repository",
     [](FileTree& tree, const std::string& root) {
       for (const char* name : {"HEAD", "config", "packed-refs"}) {
         tree.file(root + "/" + name, tree.bytesOf(root + "/.git/" + name));
       }
       tree.copy(root + "/.git/objects", root + "/objects");
       tree.copy(root + "/.git/refs", root + "/refs");
     }},
};

void applyWorkingFile(Site& site, std::size_t variant) {
  workingFiles[variant].apply(site.tree, site.place.root);
}

std::string describeWorkingFile(std::size_t variant) {
  return workingFiles[variant].name;
}

void applyFlips(Site& site, std::size_t variant) {
  constexpr std::array names = {"index", "packed-refs", "config", "HEAD"};
  std::string path = fileAt(site.place, names[variant / 8]);
  std::string bytes = site.tree.bytesOf(path);
  for (std::size_t flip = 0; flip <= variant % 8 && !bytes.empty(); ++flip) {
    bytes[site.random.below(bytes.size())] ^= static_cast<char>(1U << site.random.below(8));
  }
  if (!bytes.empty()) site.tree.file(path, bytes);
}

void applyObjectFlips(Site& site, std::size_t variant) {
  std::string folder = site.place.common + "/objects/pack";
  for (const std::string& name : site.tree.namesIn(folder)) {
    std::string bytes = site.tree.bytesOf(folder + "/" + name);
    for (std::size_t flip = 0; flip <= variant && !bytes.empty(); ++flip) {
      bytes[site.random.below(bytes.size())] ^= static_cast<char>(1U << site.random.below(8));
    }
    site.tree.file(folder + "/" + name, bytes, 0444);
  }
}

std::string describeNumber(std::size_t variant) {
  return std::to_string(variant);
}

constexpr Mutation mutations[] = {
    {"attributes", std::size(attributes), applyAttributes, describeAttributes},
    {"hooks", 2 * std::size(hookFolders), applyHooks, describeHooks},
    {"working file", std::size(workingFiles), applyWorkingFile, describeWorkingFile},
    {"changed bits", 32, applyFlips, describeNumber},
    {"changed bits of objects", 8, applyObjectFlips, describeNumber},
};

}  // namespace

std::span<const Mutation> contentMutations() {
  return mutations;
}

}  // namespace qrb::hostile
