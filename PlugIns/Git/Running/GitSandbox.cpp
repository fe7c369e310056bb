#include "GitSandbox.h"

#include <elf.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>

#include "FileDescriptor.h"
#include "FileSystem.h"
#include "GitCommandParts.h"
#include "GitPrograms.h"
#include "GitRepositoryTrust.h"
#include "GitUserFilters.h"
#include "Process.h"

namespace {

namespace fs = std::filesystem;

std::string variable(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

/// The folders in which programs are looked for by name.
std::vector<std::string> foldersOfPrograms() {
  std::vector<std::string> folders;
  std::string path = variable("PATH");
  for (std::size_t begin = 0; begin <= path.size();) {
    std::size_t end = std::min(path.find(':', begin), path.size());
    if (path.substr(begin, 1) == "/") folders.push_back(path.substr(begin, end - begin));
    begin = end + 1;
  }
  return folders;
}

/// The first bytes of a program and what they say of what runs it.
class ProgramHead {
 public:
  explicit ProgramHead(const std::string& path) : _file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)) {
    ssize_t length = _file.valid() ? ::pread(_file.get(), _bytes.data(), _bytes.size(), 0) : 0;
    _length = length > 0 ? static_cast<std::size_t>(length) : 0;
  }

  bool isScript() const { return text().starts_with("#!"); }

  /// The words of a script's first line.
  std::vector<std::string> interpreterOfScript() const {
    std::vector<std::string> words;
    std::string_view line = text().substr(2, text().find('\n') - 2);
    while (!line.empty()) {
      std::size_t begin = std::min(line.find_first_not_of(" \t\r"), line.size());
      line.remove_prefix(begin);
      std::size_t end = std::min(line.find_first_of(" \t\r"), line.size());
      if (end > 0) words.emplace_back(line.substr(0, end));
      line.remove_prefix(end);
    }
    return words;
  }

  /// The loader of shared libraries that a binary names; empty where it needs none.
  std::string loader() const {
    if (text().size() < sizeof(Elf64_Ehdr) || !text().starts_with(ELFMAG)) return {};
    return _bytes[EI_CLASS] == ELFCLASS64 ? loaderOf<Elf64_Ehdr, Elf64_Phdr>() : loaderOf<Elf32_Ehdr, Elf32_Phdr>();
  }

 private:
  std::string_view text() const { return {_bytes.data(), _length}; }

  /// Mostly they are among the first.
  bool read(std::size_t place, char* bytes, std::size_t count) const {
    if (place <= _length && count <= _length - place) {
      std::memcpy(bytes, _bytes.data() + place, count);
      return true;
    }
    return ::pread(_file.get(), bytes, count, static_cast<off_t>(place)) == static_cast<ssize_t>(count);
  }

  template <class Header, class Segment>
  std::string loaderOf() const {
    Header header;
    std::memcpy(&header, _bytes.data(), sizeof header);
    for (std::size_t number = 0; number < header.e_phnum; ++number) {
      Segment segment;
      std::size_t place = header.e_phoff + number * sizeof segment;
      if (!read(place, reinterpret_cast<char*>(&segment), sizeof segment)) return {};
      if (segment.p_type != PT_INTERP || segment.p_filesz > 4096) continue;
      std::string path(segment.p_filesz, '\0');
      return read(segment.p_offset, path.data(), path.size()) ? path.c_str() : "";
    }
    return {};
  }

  qrb::FileDescriptor _file;
  std::array<char, 4096> _bytes{};
  std::size_t _length = 0;
};

/// Programs that may run, with what runs them.
class Programs {
 public:
  explicit Programs(std::vector<std::string>& executables) : _executables(executables) {}

  /// By path, or by name as PATH has it.
  void add(const std::string& program) {
    std::string path = program.find('/') == std::string::npos ? qrb::executableInPath(program) : program;
    if (path.empty() || std::ranges::find(_executables, path) != _executables.end()) return;
    _executables.push_back(path);
    ProgramHead head(path);
    if (head.isScript()) {
      for (const std::string& word : head.interpreterOfScript()) {
        if (!word.starts_with('-')) add(word);
      }
    } else if (std::string loader = head.loader(); !loader.empty()) {
      add(loader);
    }
  }

  /// What a command line for the shell starts. A script or anything but a plain call may start whatever is installed.
  void addCommandLine(const std::string& command) {
    add("/bin/sh");
    std::string first = command.substr(0, command.find_first_of(" \t"));
    if (first.starts_with("~/")) first.replace(0, 1, variable("HOME"));
    std::string path = first.find('/') == std::string::npos ? qrb::executableInPath(first) : first;
    add(path);
    bool isPlainCall = command.find_first_of("|&;<>()$`\\\"'\n*?[#~{!") == std::string::npos;
    if (!isPlainCall || path.empty() || ProgramHead(path).isScript()) addInstalled();
  }

  /// Whatever can be called by name.
  void addInstalled() {
    for (std::string& folder : foldersOfPrograms()) _executables.push_back(std::move(folder));
    for (const char* loader : {"/lib64", "/lib", "/usr/lib"}) _executables.emplace_back(loader);
  }

 private:
  std::vector<std::string>& _executables;
};

/// The folder of git's own programs, where it is usual to be for a git in that place.
std::string usualFolderOfGit(const std::string& git) {
  std::error_code error;
  fs::path program = fs::canonical(git, error);
  if (error) return {};
  fs::path prefix = program.parent_path().parent_path();
  for (const char* folder : {"lib/git-core", "libexec/git-core"}) {
    if (fs::exists(prefix / folder / "git", error)) return (prefix / folder).string();
  }
  return {};
}

void addGit(Programs& programs, std::vector<std::string>& executables, const GitAsk& ask) {
  std::string git = qrb::executableInPath("git");
  if (git.empty()) return;
  programs.add(git);
  std::string folder = variable("GIT_EXEC_PATH");
  if (folder.empty() && !ProgramHead(git).isScript()) folder = usualFolderOfGit(git);
  if (folder.empty()) {
    folder = ask(gitMakeCommand({"--exec-path"}));
    // The user's own script in place of git may start anything, and in the end the one beside git's programs.
    programs.addInstalled();
    if (folder.empty()) return;
    programs.add((fs::path(folder) / "../../bin/git").string());
  }
  programs.add((fs::path(folder) / "git").string());
  executables.push_back(folder);
}

/// The files of the user's and the machine's configuration.
std::vector<fs::path> configurationFiles() {
  std::vector<fs::path> files;
  if (variable("GIT_CONFIG_NOSYSTEM").empty()) {
    std::string system = variable("GIT_CONFIG_SYSTEM");
    // Which of them git reads, it was told when it was built.
    files.insert(files.end(), {system.empty() ? "/etc/gitconfig" : system, "/usr/local/etc/gitconfig"});
  }
  if (std::string global = variable("GIT_CONFIG_GLOBAL"); !global.empty()) {
    files.emplace_back(global);
  } else if (fs::path home = variable("HOME"); !home.empty()) {
    std::string settings = variable("XDG_CONFIG_HOME");
    files.insert(files.end(),
                 {home / ".gitconfig", (settings.empty() ? home / ".config" : fs::path(settings)) / "git/config"});
  }
  return files;
}

/// Whether a file of the user's configuration says something. They are the user's own: in doubt it does.
bool userMaySay(bool (*says)(std::string_view)) {
  return std::ranges::any_of(configurationFiles(), [says](const fs::path& file) {
    auto text = qrb::readFile(file, qrb::anySize);
    return text && says(*text);
  });
}

/// Git is asked only where it knows more than the files say at first sight: it would take longer than all the rest
/// here.
std::vector<GitUserFilter> filtersOfUser(const GitAsk& ask) {
  std::vector<GitUserFilter> filters;
  for (const fs::path& file : configurationFiles()) {
    auto text = qrb::readFile(file, qrb::anySize);
    if (!text) continue;
    auto plain = gitPlainFilters(*text);
    if (!plain) return gitUserFilters(ask(gitFiltersCommand()));
    filters.insert(filters.end(), plain->begin(), plain->end());
  }
  return filters;
}

/// Something executable, which the examples that every repository gets are not.
bool hasHooks(const fs::path& folder) {
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    if (entry->path().extension() != ".sample" && ::access(entry->path().c_str(), X_OK) == 0) return true;
  }
  return false;
}

/// Whether links keep parts of a repository elsewhere, as for several working copies that share one.
bool isSpread(const fs::path& repository) {
  std::error_code error;
  for (const fs::path& folder : {repository, repository / "objects"}) {
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
      std::error_code ignored;
      if (entry->is_symlink(ignored)) return true;
    }
  }
  return false;
}

/// Whether the attributes in the root of a working copy speak of a filter.
bool usesFilter(const std::string& folder, const std::string& name) {
  auto text = qrb::readFile(folder + "/.gitattributes", gitTrustedSize, qrb::ReadableKind::plainFileItself);
  return text && text->find("filter=" + name) != std::string::npos;
}

/// The folder in the repository that bears a filter's name, unless it is git's own.
std::string storeOf(const GitUserFilter& filter, const GitLookedAt& repository) {
  const std::string& commonFolder = repository.commonFolder;
  std::error_code error;
  if (commonFolder.empty() || filter.name.empty() || filter.name.find('/') != std::string::npos) return {};
  constexpr std::string_view gitsOwn[] = {".",    "..",      "objects", "refs",      "hooks", "info",
                                          "logs", "modules", "config",  "worktrees", "HEAD",  "index"};
  if (std::ranges::find(gitsOwn, filter.name) != std::end(gitsOwn)) return {};
  fs::path folder = fs::path(commonFolder) / filter.name;
  // This one makes its store when it is first needed, which may be by a status.
  if (filter.name == "lfs" && usesFilter(repository.folder, filter.name)) fs::create_directory(folder, error);
  return fs::is_directory(fs::symlink_status(folder, error)) ? folder.string() : std::string();
}

}  // namespace

qrb::SandboxRules gitRulesForLooking(const GitLooking& looking, const GitLookedAt& repository, const GitAsk& ask) {
  qrb::SandboxRules rules;
  rules.writableFolders = looking.writableFolders;
  rules.emptyFolders = looking.emptyFolders;
  Programs programs(rules.executables);
  addGit(programs, rules.executables, ask);
  if (looking.convertsFiles) {
    for (const GitUserFilter& filter : filtersOfUser(ask)) {
      programs.addCommandLine(filter.command);
      if (std::string store = storeOf(filter, repository); !store.empty()) {
        rules.writableFolders.push_back(std::move(store));
      }
      rules.mayUseTCP |= looking.mayFilterByNetwork;
    }
  }
  if (repository.fetchesMissingObjects && !repository.commonFolder.empty()) {
    rules.mayUseTCP = true;
    rules.writableFolders.push_back(repository.commonFolder + "/objects");
    // Git starts the other side of a connection through the shell, and ssh as the host's environment says.
    programs.add("/bin/sh");
    programs.add("ssh");
    if (std::string command = variable("GIT_SSH_COMMAND"); !command.empty()) programs.addCommandLine(command);
  }
  return rules;
}

std::optional<qrb::SandboxRules> gitRulesForChanging(const std::string& folder, const GitRepositoryTrust& trust,
                                                     const GitAsk& ask) {
  if (trust.mayRunPrograms || userMaySay(gitMayRunPrograms)) return std::nullopt;
  if (trust.commonFolder.empty() || hasHooks(fs::path(trust.commonFolder) / "hooks")) return std::nullopt;
  if (isSpread(trust.commonFolder) || isSpread(trust.ownFolder)) return std::nullopt;
  qrb::SandboxRules rules;
  std::error_code error;
  rules.writableFolders = {folder, trust.ownFolder, trust.commonFolder, fs::temp_directory_path(error).string()};
  Programs programs(rules.executables);
  addGit(programs, rules.executables, ask);
  return rules;
}
