#include <array>

#include "Mutations.h"

// Any file or folder of a repository as something else than it ought to be.
namespace qrb::hostile {
namespace {

using Kind = FileTree::Entry::Kind;

// Of the repository; with "./" before it of the working copy.
constexpr std::array files = {
    "HEAD",
    "config",
    "index",
    "packed-refs",
    "commondir",
    "gitdir",
    "config.worktree",
    "shallow",
    "info/attributes",
    "info/exclude",
    "info/grafts",
    "info/sparse-checkout",
    "objects/info/alternates",
    "objects/info/commit-graph",
    "objects/info/http-alternates",
    "objects/pack/multi-pack-index",
    "refs/heads/main",
    "refs/remotes/origin/HEAD",
    "refs/stash",
    "refs/replace/x",
    "logs/HEAD",
    "logs/refs/heads/main",
    "MERGE_HEAD",
    "CHERRY_PICK_HEAD",
    "FETCH_HEAD",
    "ORIG_HEAD",
    "BISECT_LOG",
    "rebase-merge/head-name",
    "rebase-apply/applying",
    "sequencer/todo",
    "MERGE_MSG",
    "description",
    "index.lock",
    "HEAD.lock",
    "config.lock",
    "sharedindex.0123456789012345678901234567890123456789",
    "fsmonitor--daemon.ipc",
    "remotes/origin",
    "branches/origin",
    "worktrees/x/gitdir",
    "modules/sub/config",
    "./.git",
    "./.gitattributes",
    "./.gitignore",
    "./.gitmodules",
    "./.mailmap",
    "./file",
    "./other",
    "./folder/inner",
    "./folder/.gitattributes",
    "./folder/.gitignore",
    "./folder/.git",
    "./new",
    "./sub/.git",
};

constexpr std::array folders = {
    "refs",         "objects",      "objects/pack", "objects/info", "info",     "hooks",  "logs", "refs/heads",
    "refs/remotes", "refs/replace", "worktrees",    "modules",      "./folder", "./.git", ".",
};

void putProgram(FileTree& tree, const std::string& path) {
  tree.program(path);
}

struct Oddity {
  const char* name;
  void (*apply)(FileTree& tree, const std::string& path);
};

void fill(FileTree& tree, const std::string& path, const std::string& before, const std::string& after) {
  tree.file(path, before + tree.bytesOf(path) + after);
}

void putSparse(FileTree& tree, const std::string& path) {
  tree.put(path, {Kind::file, tree.bytesOf(path), 0644, std::uint64_t{2} << 30});
}

/// The file's own content, behind a link.
void putBehindLink(FileTree& tree, const std::string& path, const std::string& place, const std::string& target) {
  if (tree.contains(path)) {
    tree.move(path, place);
  } else {
    tree.file(place, "x\n");
  }
  tree.link(path, target);
}

constexpr Oddity oddities[] = {
    {"FIFO", [](FileTree& tree, const std::string& path) { tree.fifo(path); }},
    {"empty", [](FileTree& tree, const std::string& path) { tree.file(path, ""); }},
    {"missing", [](FileTree& tree, const std::string& path) { tree.remove(path); }},
    {"folder", [](FileTree& tree, const std::string& path) { tree.folder(path); }},
    {"2 GiB", putSparse},
    {"script", [](FileTree& tree, const std::string& path) { tree.file(path, "#!/bin/sh\n: >@MARK@\n", 0755); }},
    {"program", putProgram},
    {"link outside",
     [](FileTree& tree, const std::string& path) { putBehindLink(tree, path, "aside", "@CASE@/aside"); }},
    {"link to the victim", [](FileTree& tree, const std::string& path) { tree.link(path, "@CASE@/victim/file"); }},
    {"link to nothing", [](FileTree& tree, const std::string& path) { tree.link(path, "@CASE@/nothing"); }},
    {"link to itself",
     [](FileTree& tree, const std::string& path) { tree.link(path, path.substr(path.rfind('/') + 1)); }},
    {"link to /dev/zero", [](FileTree& tree, const std::string& path) { tree.link(path, "/dev/zero"); }},
    {"link to a FIFO",
     [](FileTree& tree, const std::string& path) { tree.fifo("fifo"), tree.link(path, "@CASE@/fifo"); }},
    {"link to the terminal", [](FileTree& tree, const std::string& path) { tree.link(path, "/dev/tty"); }},
    {"link to /proc/self/fd/0", [](FileTree& tree, const std::string& path) { tree.link(path, "/proc/self/fd/0"); }},
    {"byte order mark", [](FileTree& tree, const std::string& path) { fill(tree, path, "\xef\xbb\xbf", ""); }},
    {"zeros before", [](FileTree& tree, const std::string& path) { fill(tree, path, std::string(3, '\0'), ""); }},
    {"zeros after", [](FileTree& tree, const std::string& path) { fill(tree, path, "", std::string(9, '\0')); }},
    {"line feeds after",
     [](FileTree& tree, const std::string& path) { fill(tree, path, "", std::string(9000, '\n')); }},
    {"carriage returns after",
     [](FileTree& tree, const std::string& path) { fill(tree, path, "", std::string(9000, '\r')); }},
    {"one long line after",
     [](FileTree& tree, const std::string& path) { fill(tree, path, "", std::string(2'000'000, 'x')); }},
    {"many lines",
     [](FileTree& tree, const std::string& path) {
       std::string text;
       for (int line = 0; line < 50'000; ++line) text += "a/b/c*" + std::to_string(line) + " x=y\n";
       fill(tree, path, "", text);
     }},
    {"cut",
     [](FileTree& tree, const std::string& path) {
       std::string bytes = tree.bytesOf(path);
       tree.file(path, bytes.substr(0, bytes.size() / 2));
     }},
    {"unreadable", [](FileTree& tree, const std::string& path) { tree.file(path, tree.bytesOf(path), 0); }},
};

void applyToFile(Site& site, std::size_t variant) {
  std::string path = fileAt(site.place, files[variant / std::size(oddities)]);
  // What lies behind a pointer or in a folder that is not there has no such file.
  oddities[variant % std::size(oddities)].apply(site.tree, path);
}

std::string describeFile(std::size_t variant) {
  return std::string(files[variant / std::size(oddities)]) + ": " + oddities[variant % std::size(oddities)].name;
}

constexpr Oddity folderOddities[] = {
    {"FIFO", [](FileTree& tree, const std::string& path) { tree.fifo(path); }},
    {"file", [](FileTree& tree, const std::string& path) { tree.file(path, "x\n"); }},
    {"script", [](FileTree& tree, const std::string& path) { tree.file(path, "#!/bin/sh\n: >@MARK@\n", 0755); }},
    {"program", putProgram},
    {"missing", [](FileTree& tree, const std::string& path) { tree.remove(path); }},
    {"empty", [](FileTree& tree, const std::string& path) { tree.folder(path); }},
    {"link to itself elsewhere",
     [](FileTree& tree, const std::string& path) { putBehindLink(tree, path, "aside", "@CASE@/aside"); }},
    {"link to the victim", [](FileTree& tree, const std::string& path) { tree.link(path, "@CASE@/victim"); }},
    {"link to processes", [](FileTree& tree, const std::string& path) { tree.link(path, "/proc/self/task"); }},
    {"link to nothing", [](FileTree& tree, const std::string& path) { tree.link(path, "nothing"); }},
    {"link to itself",
     [](FileTree& tree, const std::string& path) { tree.link(path, path.substr(path.rfind('/') + 1)); }},
    {"many entries",
     [](FileTree& tree, const std::string& path) {
       for (int number = 0; number < 300; ++number) tree.file(path + "/entry" + std::to_string(number), "x\n");
     }},
    {"deep",
     [](FileTree& tree, const std::string& path) {
       std::string below = path;
       for (int depth = 0; depth < 300; ++depth) below += "/dir";
       tree.folder(below);
     }},
};

void applyToFolder(Site& site, std::size_t variant) {
  std::string name = folders[variant / std::size(folderOddities)];
  std::string path = name == "." ? site.place.root : fileAt(site.place, name);
  folderOddities[variant % std::size(folderOddities)].apply(site.tree, path);
}

std::string describeFolder(std::size_t variant) {
  return std::string(folders[variant / std::size(folderOddities)]) + ": " +
         folderOddities[variant % std::size(folderOddities)].name;
}

constexpr Mutation mutations[] = {
    {"odd file", std::size(files) * std::size(oddities), applyToFile, describeFile},
    {"odd folder", std::size(folders) * std::size(folderOddities), applyToFolder, describeFolder},
};

}  // namespace

std::span<const Mutation> fileMutations() {
  return mutations;
}

std::string fileAt(const Place& place, const std::string& name) {
  if (name.starts_with("./")) return place.root + "/" + name.substr(2);
  bool isOfOneWorkingCopy = name == "HEAD" || name == "index" || name == "commondir" || name == "gitdir" ||
                            name == "config.worktree" || name == "logs/HEAD" || name.ends_with("_HEAD") ||
                            name == "index.lock" || name == "HEAD.lock" || name.starts_with("rebase-") ||
                            name.starts_with("sharedindex");
  return (isOfOneWorkingCopy ? place.git : place.common) + "/" + name;
}

}  // namespace qrb::hostile
