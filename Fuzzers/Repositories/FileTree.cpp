#include "FileTree.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

namespace qrb::hostile {
namespace {

namespace fs = std::filesystem;
using Kind = FileTree::Entry::Kind;

constexpr std::string_view casePlaceholder = "@CASE@";
constexpr std::string_view markPlaceholder = "@MARK@";

std::string replaced(std::string text, std::string_view what, std::string_view with) {
  for (std::size_t place = text.find(what); place != std::string::npos; place = text.find(what, place + with.size())) {
    text.replace(place, what.size(), with);
  }
  return text;
}

void require(bool succeeded, const std::string& path) {
  if (!succeeded) throw std::system_error(errno, std::generic_category(), path);
}

void writeFile(const std::string& path, const FileTree::Entry& entry, std::string_view bytes) {
  int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, entry.mode);
  require(descriptor >= 0, path);
  bool isWhole = true;
  while (isWhole && !bytes.empty()) {
    ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
    isWhole = count > 0;
    if (isWhole) bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  if (entry.length > entry.bytes.size())
    isWhole = isWhole && ::ftruncate(descriptor, static_cast<off_t>(entry.length)) == 0;
  int error = errno;
  ::close(descriptor);
  errno = error;
  require(isWhole, path);
}

std::string readFile(const fs::path& path) {
  std::ifstream stream(path, std::ios::binary);
  if (!stream) throw std::runtime_error("cannot read " + path.string());
  return {std::istreambuf_iterator<char>(stream), {}};
}

std::string below(const std::string& path) {
  return path + "/";
}

}  // namespace

FileTree FileTree::read(const std::string& folder) {
  FileTree tree;
  for (fs::recursive_directory_iterator entry(folder), end; entry != end; ++entry) {
    std::string path = entry->path().lexically_relative(folder).string();
    Entry& made = tree._entries[path];
    if (entry->is_symlink()) {
      made = {Kind::link, replaced(fs::read_symlink(entry->path()).string(), folder, casePlaceholder)};
    } else if (entry->is_directory()) {
      made = {Kind::folder, {}, 0755};
    } else {
      made.bytes = replaced(readFile(entry->path()), folder, casePlaceholder);
      made.mode = static_cast<mode_t>(entry->status().permissions()) & 0777;
    }
  }
  return tree;
}

void FileTree::put(const std::string& path, Entry entry) {
  for (std::size_t slash = path.find('/'); slash != std::string::npos; slash = path.find('/', slash + 1)) {
    auto [above, isNew] = _entries.try_emplace(path.substr(0, slash), Entry{Kind::folder, {}, 0755});
    if (!isNew && above->second.kind != Kind::folder) return;
  }
  remove(path);
  _entries[path] = std::move(entry);
}

void FileTree::file(const std::string& path, std::string bytes, mode_t mode) {
  put(path, {Kind::file, std::move(bytes), mode});
}

void FileTree::folder(const std::string& path) {
  put(path, {Kind::folder, {}, 0755});
}

void FileTree::link(const std::string& path, std::string target) {
  put(path, {Kind::link, std::move(target)});
}

void FileTree::fifo(const std::string& path) {
  put(path, {Kind::fifo, {}, 0644});
}

void FileTree::program(const std::string& path) {
  put(path, {Kind::program, {}, 0755});
}

void FileTree::append(const std::string& path, std::string_view bytes) {
  file(path, bytesOf(path) + std::string(bytes));
}

void FileTree::remove(const std::string& path) {
  _entries.erase(path);
  std::string prefix = below(path);
  auto end = _entries.lower_bound(prefix);
  auto begin = end;
  while (end != _entries.end() && end->first.starts_with(prefix)) ++end;
  _entries.erase(begin, end);
}

void FileTree::move(const std::string& from, const std::string& to) {
  FileTree before = *this;
  remove(from);
  for (const auto& [path, entry] : before._entries) {
    if (path == from || path.starts_with(below(from))) put(to + path.substr(from.size()), entry);
  }
}

void FileTree::copy(const std::string& from, const std::string& to) {
  FileTree before = *this;
  for (const auto& [path, entry] : before._entries) {
    if (path == from || path.starts_with(below(from))) put(to + path.substr(from.size()), entry);
  }
}

bool FileTree::isFolder(const std::string& path) const {
  auto entry = _entries.find(path);
  return entry != _entries.end() && entry->second.kind == Kind::folder;
}

std::string FileTree::bytesOf(const std::string& path) const {
  auto entry = _entries.find(path);
  return entry != _entries.end() && entry->second.kind == Kind::file ? entry->second.bytes : std::string();
}

std::vector<std::string> FileTree::namesIn(const std::string& path) const {
  std::vector<std::string> names;
  std::string prefix = below(path);
  for (auto entry = _entries.lower_bound(prefix); entry != _entries.end() && entry->first.starts_with(prefix);
       ++entry) {
    if (entry->first.find('/', prefix.size()) == std::string::npos) names.push_back(entry->first.substr(prefix.size()));
  }
  return names;
}

void FileTree::write(const Destination& destination) const {
  const auto& [folder, mark, program] = destination;
  require(::mkdir(folder.c_str(), 0755) == 0, folder);
  for (const auto& [relative, entry] : _entries) {
    std::string path = folder + "/" + relative;
    std::string bytes = replaced(replaced(entry.bytes, casePlaceholder, folder), markPlaceholder, mark);
    switch (entry.kind) {
      case Kind::file:
        writeFile(path, entry, bytes);
        break;
      case Kind::folder:
        require(::mkdir(path.c_str(), entry.mode) == 0, path);
        break;
      case Kind::link:
        require(::symlink(bytes.c_str(), path.c_str()) == 0, path);
        break;
      case Kind::fifo:
        require(::mkfifo(path.c_str(), entry.mode) == 0, path);
        break;
      case Kind::program:
        require(::link(program.c_str(), path.c_str()) == 0, path);
        break;
    }
  }
}

void removeTree(const std::string& folder) {
  std::error_code error;
  fs::remove_all(folder, error);
}

}  // namespace qrb::hostile
