#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "GitNetworkSettings.h"

/// What is sent where.
struct GitPushPlan {
  /// The full name of a branch here; empty: there is nothing to send.
  std::string from;
  /// The full name of the branch there.
  std::string to;
  /// The name, without a folder, of a branch here that follows none yet and is to follow what it is sent to.
  std::string newFollower;
  /// The branches here that a named branch there may stand for. Where it is not just one, nothing is sent: what the
  /// remote has is not overwritten by a guess.
  std::vector<std::string> choices;
};

/// What a repository has to send.
struct GitPushSources {
  /// The names of the branches that are there, without a folder.
  std::vector<std::string> branches;
  /// The branch checked out, without a folder; empty where none is.
  std::string current;
};

/// Which branch a user means who sends to a branch of a remote, whose name, without a folder, may be empty: the one
/// checked out where it follows that, or the one of the same name; where there is neither, the only one that follows
/// it. Without a name what is checked out goes where it follows, or to its own name. `remote` is null where the address
/// is not that of a remote. Pure.
GitPushPlan gitPlanPush(const GitPushSources& sources, const GitNetworkSettings& settings,
                        const GitRemoteSettings* remote, std::string_view remoteBranch);
