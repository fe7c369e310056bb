#include "GitPushPlan.h"

#include <algorithm>
#include <iterator>

namespace {

constexpr std::string_view branchFolder = "refs/heads/";

std::string refOf(std::string_view branch) {
  return std::string(branchFolder).append(branch);
}

/// What the branch follows in the remote; empty where it follows nothing there.
std::string followedBy(const GitNetworkSettings& settings, const GitRemoteSettings* remote, std::string_view branch) {
  const GitBranchSettings* found = settings.branchNamed(branch);
  return found != nullptr && remote != nullptr && found->remote == remote->name ? found->merge : std::string();
}

bool followsAnything(const GitNetworkSettings& settings, std::string_view branch) {
  const GitBranchSettings* found = settings.branchNamed(branch);
  return found != nullptr && !found->remote.empty() && !found->merge.empty();
}

/// The branches that may be meant by one who names a branch of the remote; no others than the one to send where there
/// is no doubt. What is checked out is meant where it follows the named one, but not where another is called so: who
/// reads the name as one of this repository means that.
std::vector<std::string> sourcesFor(const GitPushSources& sources, const GitNetworkSettings& settings,
                                    const GitRemoteSettings* remote, std::string_view remoteBranch) {
  std::string to = refOf(remoteBranch);
  std::vector<std::string> meant;
  // One without commits is in no list.
  bool isHere = std::ranges::find(sources.branches, remoteBranch) != sources.branches.end();
  if (isHere || sources.current == remoteBranch) meant.emplace_back(remoteBranch);
  bool isOther = !sources.current.empty() && sources.current != remoteBranch;
  if (isOther && followedBy(settings, remote, sources.current) == to) meant.push_back(sources.current);
  if (!meant.empty()) return meant;
  std::ranges::copy_if(sources.branches, std::back_inserter(meant),
                       [&](const std::string& branch) { return followedBy(settings, remote, branch) == to; });
  return meant;
}

}  // namespace

GitPushPlan gitPlanPush(const GitPushSources& sources, const GitNetworkSettings& settings,
                        const GitRemoteSettings* remote, std::string_view remoteBranch) {
  GitPushPlan plan;
  std::string source = sources.current;
  if (!remoteBranch.empty()) {
    plan.to = refOf(remoteBranch);
    plan.choices = sourcesFor(sources, settings, remote, remoteBranch);
    if (plan.choices.size() != 1) return plan;
    source = plan.choices.front();
  } else if (!source.empty()) {
    plan.to = followedBy(settings, remote, source);
    if (plan.to.empty()) plan.to = refOf(source);
  }
  if (plan.to.empty()) return plan;
  plan.from = refOf(source);
  if (remote != nullptr && !followsAnything(settings, source)) plan.newFollower = source;
  return plan;
}
