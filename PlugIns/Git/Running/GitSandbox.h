#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "GitCommands.h"
#include "GitRepositoryTrust.h"
#include "Sandbox.h"

/// What a request that only looks needs besides git and what there is to read.
struct GitLooking {
  /// The working copy's files are compared with what git keeps, or handed out as they would be there: the filters that
  /// the user has set up run.
  bool convertsFiles = false;
  /// Filters may reach servers for what they hand out.
  bool mayFilterByNetwork = false;
  /// Where the request leaves what it was asked for; see SandboxRules.
  std::vector<std::string> writableFolders = {};
  std::vector<std::string> emptyFolders = {};
};

/// Runs git for its output.
using GitAsk = std::function<std::string(const GitCommand&)>;

/// What is known of the repository that is looked at.
struct GitLookedAt {
  /// The working copy's root, or the repository.
  std::string folder;
  /// See GitRepositoryTrust; empty where it is not known.
  std::string commonFolder;
  /// Git fetches what it lacks (a partial clone): it may reach servers, and adds to the repository's objects.
  bool fetchesMissingObjects = false;
};

/// What such a request may do: execute git's own programs and the user's filters, and change what `looking` names. A
/// filter may also write to the folder of its own name in the repository, where those for large files keep them.
/// Git is asked where the files of the user's configuration or the place of its programs leave a doubt.
qrb::SandboxRules gitRulesForLooking(const GitLooking& looking, const GitLookedAt& repository, const GitAsk& ask);

/// What a request may do that changes the working copy in a folder and its repository, and nothing else: execute git's
/// own programs, and write there and to temporary files. None where programs of the user's or of the repository run
/// with it (hooks, filters, merge drivers, signing), which may do whatever the user may; also where a configuration
/// leaves a doubt of that.
std::optional<qrb::SandboxRules> gitRulesForChanging(const std::string& folder, const GitRepositoryTrust& trust,
                                                     const GitAsk& ask);
