#include "GitPushPlan.h"

#include <algorithm>

namespace {

constexpr std::string_view branchFolder = "refs/heads/";

std::string refOf(std::string_view branch) {
  return std::string(branchFolder).append(branch);
}

/// What the branch follows in the remote; empty where it follows nothing there.
std::string followedBy(const GitNetworkSettings& settings, const GitRemoteSettings* remote, std::string_view branch) {
  const GitBranchSettings* const found = settings.branchNamed(branch);
  return found != nullptr && remote != nullptr && found->remote == remote->name ? found->merge : std::string();
}

bool followsAnything(const GitNetworkSettings& settings, std::string_view branch) {
  const GitBranchSettings* const found = settings.branchNamed(branch);
  return found != nullptr && !found->remote.empty() && !found->merge.empty();
}

/// The branch to send to a named one; empty for what is checked out without a branch.
std::string sourceFor(const GitPushSources& sources, const GitNetworkSettings& settings,
                      const GitRemoteSettings* remote, std::string_view remoteBranch) {
  const std::string to = refOf(remoteBranch);
  if (!sources.current.empty() && followedBy(settings, remote, sources.current) == to) return sources.current;
  for (const std::string& branch : sources.branches) {
    if (followedBy(settings, remote, branch) == to) return branch;
  }
  const bool hasSameName = std::ranges::find(sources.branches, remoteBranch) != sources.branches.end();
  return hasSameName ? std::string(remoteBranch) : sources.current;
}

}  // namespace

GitPushPlan gitPlanPush(const GitPushSources& sources, const GitNetworkSettings& settings,
                        const GitRemoteSettings* remote, std::string_view remoteBranch) {
  GitPushPlan plan;
  std::string source = sources.current;
  if (!remoteBranch.empty()) {
    plan.to = refOf(remoteBranch);
    source = sourceFor(sources, settings, remote, remoteBranch);
  } else if (!source.empty()) {
    plan.to = followedBy(settings, remote, source);
    if (plan.to.empty()) plan.to = refOf(source);
  }
  if (plan.to.empty()) return plan;
  plan.from = source.empty() ? "HEAD" : refOf(source);
  if (remote != nullptr && !source.empty() && !followsAnything(settings, source)) plan.newFollower = source;
  return plan;
}
