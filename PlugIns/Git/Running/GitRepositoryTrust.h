#pragma once

#include <string>
#include <string_view>

/// What the files of a repository say for certain, without git, of what git will find there. Where they are not of the
/// plain form that leaves no doubt, everything that may be counts as being so, and git itself has to be asked.
struct GitRepositoryTrust {
  /// Git finds this repository, in this form, when it is run in the folder.
  bool isPlain = false;
  /// Its own configuration may name programs, itself or in a file that it includes: see GitPrograms.h.
  bool mayNamePrograms = true;
  /// Its own configuration may say that the working copy lies elsewhere.
  bool mayMoveWorkingCopy = true;
  bool mayHoldSubmodules = true;
  /// Its own configuration may name programs that run when something is changed.
  bool mayRunPrograms = true;
  /// The folder of a plain repository, and the one that all its working copies share: where the kernel finds them.
  std::string ownFolder;
  std::string commonFolder;
  /// Empty, or the path of something in a file's place at which git would wait or read without an end, and what it is:
  /// a pipe, a socket, a device, or a file longer than one of its kind can be.
  std::string obstacle;
  std::string obstacleFault;
};

/// Looks at the repository of a working copy, given by its root (linked ones and submodules too), or at the bare one in
/// the folder itself. Paths lead where the kernel says that they lead. Reads configurations up to gitTrustedSize. Where
/// the repository changes meanwhile the answer may be wrong.
GitRepositoryTrust gitTrust(const std::string& folder);

/// The longest configuration file that is read here, in bytes.
constexpr std::size_t gitTrustedSize = std::size_t{1} << 20;

/// Whether the text of a configuration file may name programs, itself or in a file that it includes.
bool gitMayNamePrograms(std::string_view configuration);

/// Whether the text of a configuration file may name programs that run when something is changed: filters, hooks, merge
/// drivers, programs that sign.
bool gitMayRunPrograms(std::string_view configuration);

/// Whether the text of a configuration file may name filters of file contents, itself or in a file that it includes.
bool gitMayNameFilters(std::string_view configuration);

/// Whether other files may be included by the text of a configuration file.
bool gitIncludesFiles(std::string_view configuration);

/// Whether the text of a configuration file may say that the working copy lies elsewhere.
bool gitMayMoveWorkingCopy(std::string_view configuration);
