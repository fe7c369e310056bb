#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "GitCommands.h"

struct GitTestResult {
  int exitCode = -1;
  std::string output;
  std::string errorOutput;
};

/// A repository in a folder of its own that disappears with the object. Git runs in it with the environment that the
/// product gives it and without the configuration of whoever runs the tests.
class GitTestRepository {
 public:
  GitTestRepository();
  ~GitTestRepository();
  GitTestRepository(const GitTestRepository&) = delete;
  GitTestRepository& operator=(const GitTestRepository&) = delete;

  const std::filesystem::path& root() const { return _root; }

  /// Runs git with the arguments as they are.
  GitTestResult run(const std::vector<std::string>& arguments, std::string_view input = {}) const;
  GitTestResult run(const GitCommand& command, std::string_view input = {}) const;
  /// Runs git, which must succeed; its output without the line feed at the end.
  std::string git(const std::vector<std::string>& arguments, std::string_view input = {}) const;

  void write(const std::string& path, std::string_view content) const;
  /// Stages everything and commits it; the commit's object name. Each commit is a minute younger than the one before.
  std::string commit(const std::string& message) const;
  /// Makes a commit of these raw bytes, headers included; its object name.
  std::string commitRaw(std::string_view bytes) const;

 private:
  GitTestResult run(const std::vector<std::string>& arguments, GitAccess access, std::string_view input) const;

  std::filesystem::path _folder;
  std::filesystem::path _root;
  mutable long _time = 1700000000;
};
