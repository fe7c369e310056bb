#include "Mutations.h"

namespace qrb::hostile {
namespace {

struct Setting {
  const char* section;
  const char* subsection;
  const char* key;
  /// "@EVIL@" stands for a command.
  const char* value;
};

// What git has run, read or written for a setting of the repository, and what changes how others are read.
constexpr Setting settings[] = {
    {"filter", "evil", "clean", "@EVIL@"},
    {"filter", "evil", "smudge", "@EVIL@"},
    {"filter", "evil", "process", "@EVIL@"},
    {"filter", "evil", "required", "true"},
    {"filter", "", "clean", "@EVIL@"},
    {"core", "", "fsmonitor", "@EVIL@"},
    {"core", "", "fsmonitor", "true"},
    {"core", "", "useBuiltinFSMonitor", "true"},
    {"core", "", "fsmonitorHookVersion", "1"},
    {"core", "", "hooksPath", "@CASE@/hooks"},
    {"core", "", "hooksPath", "hooks"},
    {"core", "", "hooksPath", ".git/hooks"},
    {"core", "", "sshCommand", "@EVIL@"},
    {"core", "", "gitProxy", "@EVIL@"},
    {"core", "", "pager", "@EVIL@"},
    {"core", "", "editor", "@EVIL@"},
    {"core", "", "askPass", "@EVIL@"},
    {"core", "", "alternateRefsCommand", "@EVIL@"},
    {"core", "", "worktree", "@CASE@/victim"},
    {"core", "", "worktree", "../../victim"},
    {"core", "", "worktree", "/"},
    {"core", "", "bare", "true"},
    {"core", "", "bare", "maybe"},
    {"core", "", "untrackedCache", "true"},
    {"core", "", "splitIndex", "true"},
    {"core", "", "sharedRepository", "0777"},
    {"core", "", "preloadIndex", "true"},
    {"core", "", "attributesFile", "@CASE@/attributes"},
    {"core", "", "excludesFile", "@CASE@/fifo"},
    {"core", "", "attributesFile", "@CASE@/fifo"},
    {"core", "", "logAllRefUpdates", "always"},
    {"core", "", "symlinks", "false"},
    {"core", "", "fsync", "all"},
    {"core", "", "autocrlf", "true"},
    {"core", "", "safecrlf", "true"},
    {"core", "", "checkRoundtripEncoding", "UTF-16"},
    {"core", "", "notesRef", "refs/heads/side"},
    {"core", "", "commentChar", "auto"},
    {"core", "", "compression", "99"},
    {"core", "", "packedGitLimit", "100g"},
    {"core", "", "bigFileThreshold", "1"},
    {"core", "", "repositoryFormatVersion", "1"},
    {"core", "", "repositoryFormatVersion", "999"},
    {"core", "", "protectHFS", "false"},
    {"core", "", "abbrev", "-1"},
    {"core", "", "createObject", "rename"},
    {"core", "", "commitGraph", "true"},
    {"core", "", "multiPackIndex", "true"},
    {"diff", "", "external", "@EVIL@"},
    {"diff", "evil", "textconv", "@EVIL@"},
    {"diff", "evil", "cachetextconv", "true"},
    {"diff", "evil", "command", "@EVIL@"},
    {"diff", "evil", "xfuncname", "((((((((((((((((((((((.*)*)*)*)*)*)*)*)*)*)*)*)*)*)*)*)*)*)*)*)*)*)*)$"},
    {"diff", "", "orderFile", "@CASE@/fifo"},
    {"diff", "", "submodule", "diff"},
    {"diff", "", "ignoreSubmodules", "none"},
    {"diff", "", "autoRefreshIndex", "true"},
    {"diff", "", "renameLimit", "999999999"},
    {"diff", "", "noprefix", "true"},
    {"diff", "", "mnemonicPrefix", "true"},
    {"diff", "", "colorMoved", "zebra"},
    {"merge", "evil", "driver", "@EVIL@"},
    {"mergetool", "evil", "cmd", "@EVIL@"},
    {"difftool", "evil", "cmd", "@EVIL@"},
    {"alias", "", "status", "!@EVIL@"},
    {"alias", "", "log", "!@EVIL@"},
    {"alias", "", "evil", "!@EVIL@"},
    {"pager", "", "log", "@EVIL@"},
    {"pager", "", "status", "@EVIL@"},
    {"pager", "", "diff", "true"},
    {"interactive", "", "diffFilter", "@EVIL@"},
    {"sequence", "", "editor", "@EVIL@"},
    {"credential", "", "helper", "!@EVIL@"},
    {"credential", "https://localhost", "helper", "!@EVIL@"},
    {"gpg", "", "program", "@EVIL@"},
    {"gpg", "ssh", "program", "@EVIL@"},
    {"gpg", "ssh", "defaultKeyCommand", "@EVIL@"},
    {"gpg", "", "format", "ssh"},
    {"log", "", "showSignature", "true"},
    {"log", "", "mailmap", "true"},
    {"log", "", "follow", "true"},
    {"mailmap", "", "file", "@CASE@/fifo"},
    {"mailmap", "", "blob", "HEAD:file"},
    {"blame", "", "ignoreRevsFile", "@CASE@/fifo"},
    {"gc", "", "auto", "1"},
    {"gc", "", "recentObjectsHook", "@EVIL@"},
    {"maintenance", "", "auto", "true"},
    {"fetch", "", "writeCommitGraph", "true"},
    {"remote", "origin", "url", "ext::@EVIL@"},
    {"remote", "origin", "url", "@CASE@/victim"},
    {"remote", "origin", "url", "ssh://localhost:1/x"},
    {"remote", "origin", "uploadpack", "@EVIL@"},
    {"remote", "origin", "promisor", "true"},
    {"remote", "origin", "partialclonefilter", "blob:none"},
    {"remote", "origin", "vcs", "evil"},
    {"remote", "origin", "proxy", "@EVIL@"},
    {"extensions", "", "partialClone", "origin"},
    {"extensions", "", "worktreeConfig", "true"},
    {"extensions", "", "objectFormat", "sha256"},
    {"extensions", "", "refStorage", "reftable"},
    {"extensions", "", "preciousObjects", "true"},
    {"extensions", "", "unknown", "true"},
    {"protocol", "", "allow", "always"},
    {"url", "ext::@EVIL@ ", "insteadOf", "https://"},
    {"status", "", "submoduleSummary", "true"},
    {"status", "", "showUntrackedFiles", "all"},
    {"status", "", "aheadBehind", "true"},
    {"submodule", "sub", "update", "!@EVIL@"},
    {"submodule", "sub", "ignore", "none"},
    {"submodule", "", "recurse", "true"},
    {"index", "", "version", "4"},
    {"index", "", "threads", "1000000"},
    {"index", "", "sparse", "true"},
    {"feature", "", "manyFiles", "true"},
    {"pack", "", "threads", "1000000"},
    {"pack", "", "windowMemory", "100g"},
    {"grep", "", "threads", "1000000"},
    {"trace2", "", "eventTarget", "@CASE@/victim"},
    {"trace2", "", "normalTarget", "@CASE@/victim/trace"},
    {"trace2", "", "perfTarget", "@CASE@/victim/trace"},
    {"uploadpack", "", "packObjectsHook", "@EVIL@"},
    {"receive", "", "procReceiveRefs", "refs"},
    {"safe", "", "directory", "*"},
    {"advice", "", "detachedHead", "maybe"},
    {"i18n", "", "logOutputEncoding", "UTF-7"},
    {"i18n", "", "commitEncoding", "UTF-32"},
    {"color", "", "ui", "always"},
    {"format", "", "pretty", "%an"},
    {"column", "", "ui", "always"},
    {"tar", "evil", "command", "@EVIL@"},
    {"trailer", "evil", "command", "@EVIL@"},
    {"man", "evil", "cmd", "@EVIL@"},
    {"branch", "main", "remote", "../victim"},
    {"branch", "main", "merge", "refs/heads/../../../x"},
    {"lsrefs", "", "unborn", "maybe"},
    {"transfer", "", "hideRefs", "refs/heads"},
};

std::string replacedEvil(std::string text, Random& random) {
  std::size_t place = text.find("@EVIL@");
  return place == std::string::npos ? text : text.replace(place, 6, evilCommand(random));
}

std::string quoted(const std::string& value) {
  std::string text = "\"";
  for (char letter : value) {
    if (letter == '"' || letter == '\\') text += '\\';
    text += letter;
  }
  return text + '"';
}

void applySetting(Site& site, std::size_t variant) {
  const Setting& setting = settings[variant];
  addSetting(site.tree, site.place.common + "/config", setting.section, replacedEvil(setting.subsection, site.random),
             setting.key, replacedEvil(setting.value, site.random));
  site.tree.file("attributes", "* filter=evil diff=evil\n");
  site.tree.fifo("fifo");
}

std::string describeSetting(std::size_t variant) {
  const Setting& setting = settings[variant];
  return std::string(setting.section) + "." + setting.subsection + "." + setting.key + "=" + setting.value;
}

// How the same filter may be written; each becomes the whole configuration but for what a repository needs.
const std::vector<std::string>& spellings() {
  static const std::string value = "clean = \": >@MARK@; cat\"\n";
  static const std::vector<std::string> all = {
      "[FILTER \"evil\"]\n" + value,
      "[filter.evil]\n" + value,
      "[Filter.EVIL]\n" + value,
      "[filter \"e\\vil\"]\n" + value,
      "[filter\t \"evil\"]" + value,
      "[filter \"evil\"] ; comment\n\t\t" + value,
      "[filter \"evil\"]\nclean = : >@MARK@\\\n; cat\n",
      "[filter \"evil\"]\nclean = \": \" >\"@MARK@\" \"; cat\"\n",
      "[filter \"evil\"]\nCLEAN=: >@MARK@ && cat # no\n",
      "[filter \"evil\"]\r\nclean = : >@MARK@\r\n",
      "\xef\xbb\xbf[filter \"evil\"]\n" + value,
      "[a]\nb\n[filter \"evil\"]\n" + value + "[c \"",
      "[filter \"evil\"]\n" + value + "process\n",
      "[filter \"evil\"]\n" + value + "[filter \"evil\"]\nclean\n",
      "[filter \"evil\"]\n" + value + std::string(2'000'000, '\n'),
      "[filter \"evil\"]\nx = " + std::string(3'000'000, 'x') + "\n" + value,
      "[filter \"" + std::string(100'000, 'y') + "\"]\nclean = z\n[filter \"evil\"]\n" + value,
      "[filter \"evil\"]\n" + value + std::string("\0\0\0", 3) + "\n",
      "[filter \"evil\"]\n" + value + "x = \xff\xfe\x80\n",
      "#" + std::string(70'000, '\n') + "[filter \"evil\"]\n" + value,
      "[filter \"evil\"]\n" + value + "[include]\npath = config\n",
  };
  return all;
}

void applySpelling(Site& site, std::size_t variant) {
  site.tree.file(site.place.common + "/config", "[core]\nrepositoryFormatVersion = 0\n" + spellings()[variant]);
  site.tree.file(site.place.common + "/info/attributes", "* filter=evil\n");
}

std::string describeSpelling(std::size_t variant) {
  return spellings()[variant].substr(0, 60);
}

struct Inclusion {
  const char* section;
  const char* path;
  /// Where the file is put: of the repository, with "./" before it of the working copy, with "/" before it of the case.
  const char* file;
};

constexpr Inclusion inclusions[] = {
    {"include", "more", "more"},
    {"include", "./more", "more"},
    {"include", "../more", "./more"},
    {"include", "@CASE@/more", "/more"},
    {"include", "x/../more", "more"},
    {"include", "~/more", "more"},
    {"include", "%(prefix)/more", "more"},
    {"include", "", "more"},
    {"include", "/dev/zero", "more"},
    {"include", "/dev/stdin", "more"},
    {"INCLUDE", "more", "more"},
    {"includeIf \"gitdir:**\"", "more", "more"},
    {"includeIf \"gitdir:/\"", "more", "more"},
    {"includeIf \"gitdir/i:**/REPOSITORY/.git\"", "more", "more"},
    {"includeIf \"gitdir:**/.git\"", "more", "more"},
    {"includeIf \"onbranch:**\"", "more", "more"},
    {"includeIf \"onbranch:main\"", "more", "more"},
    {"includeIf \"hasconfig:remote.*.url:**\"", "more", "more"},
    {"includeif.gitdir:**", "more", "more"},
    {"includeIf \"gitdir:./\"", "more", "more"},
};

void applyInclusion(Site& site, std::size_t variant) {
  const Inclusion& inclusion = inclusions[variant];
  std::string config = site.place.common + "/config";
  std::string file = inclusion.file[0] == '/' ? std::string(inclusion.file + 1) : fileAt(site.place, inclusion.file);
  site.tree.move(config, file);
  site.tree.file(config, "[core]\nrepositoryFormatVersion = 0\n[remote \"origin\"]\nurl = ../victim\n[" +
                             std::string(inclusion.section) + "]\npath = " + inclusion.path + "\n");
}

std::string describeInclusion(std::size_t variant) {
  return std::string(inclusions[variant].section) + " " + inclusions[variant].path;
}

/// The settings go to the file of one working copy.
void applyWorktreeConfiguration(Site& site, std::size_t variant) {
  std::string config = site.place.common + "/config";
  site.tree.move(config, site.place.git + "/config.worktree");
  site.tree.file(config, "[core]\nrepositoryFormatVersion = " + std::to_string(variant % 2) +
                             "\n[extensions]\nworktreeConfig = " + (variant < 2 ? "true" : "1") + "\n");
}

std::string describeNumber(std::size_t variant) {
  return std::to_string(variant);
}

constexpr Mutation mutations[] = {
    {"setting", std::size(settings), applySetting, describeSetting},
    {"spelling of a filter", 21, applySpelling, describeSpelling},
    {"settings of one working copy", 4, applyWorktreeConfiguration, describeNumber},
    {"included settings", std::size(inclusions), applyInclusion, describeInclusion},
};

}  // namespace

std::span<const Mutation> configurationMutations() {
  return mutations;
}

std::string evilCommand(Random& random) {
  static const std::vector<std::string> commands = {": >@MARK@; cat", "@CASE@/evil.sh", "@CASE@/evil", "./evil",
                                                    ": >'@MARK@' && exec cat"};
  // The first of them needs nothing but a shell.
  return random.oneIn(2) ? commands.front() : random.oneOf(commands);
}

void addSetting(FileTree& tree, const std::string& file, const std::string& section, const std::string& subsection,
                const std::string& key, const std::string& value) {
  std::string name = subsection.empty() ? std::string() : " " + quoted(subsection);
  tree.append(file, "[" + section + name + "]\n\t" + key + " = " + quoted(value) + "\n");
}

void addBait(Site& site) {
  std::string config = site.place.common + "/config";
  // A filter that stays running for many files would take the place of one for each.
  addSetting(site.tree, config, "filter", "evil", site.random.oneIn(5) ? "process" : "clean", evilCommand(site.random));
  bool isInWorkingCopy = site.random.oneIn(2);
  site.tree.file(isInWorkingCopy ? site.place.root + "/.gitattributes" : site.place.common + "/info/attributes",
                 "* filter=evil diff=evil merge=evil\n");
}

}  // namespace qrb::hostile
