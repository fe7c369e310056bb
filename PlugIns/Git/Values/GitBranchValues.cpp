#include "GitBranchValues.h"

#include <algorithm>

#include "QRBSourceControlBranch.h"
#include "QRBSourceControlRevision.h"

namespace {

QRBSourceControlBranchPtr pinned(const QRBSourceControlBranchPtr& branch, std::string_view hash) {
  if (!branch || hash.empty()) return branch;
  return std::static_pointer_cast<const QRBSourceControlBranch>(
      branch->locationWithRevision(QRBSourceControlRevision::initWithIdentifier(hash)));
}

}  // namespace

bool gitIsPrimaryBranchName(std::string_view name) {
  return name == "main" || name == "master";
}

std::string_view gitLocalBranchName(std::string_view fullName) {
  constexpr std::string_view folder = "refs/heads/";
  return fullName.starts_with(folder) ? fullName.substr(folder.size()) : fullName;
}

std::string_view gitRemoteOfBranch(std::string_view name, const std::vector<std::string>& remotes) {
  std::string_view best;
  for (const std::string& remote : remotes) {
    if (remote.size() > best.size() && name.size() > remote.size() + 1 && name.starts_with(remote) &&
        name[remote.size()] == '/') {
      best = remote;
    }
  }
  return best.empty() ? name.substr(0, name.find('/')) : best;
}

QRBSourceControlBranchPtr gitLocalBranch(std::string_view name, std::string_view hash) {
  return pinned(QRBSourceControlBranch::initWithBranchName(name, gitIsPrimaryBranchName(name)), hash);
}

QRBSourceControlBranchPtr gitRemoteBranch(std::string_view name, std::string_view remote, std::string_view hash) {
  return pinned(QRBSourceControlBranch::initWithBranchNameRemoteName(name, gitIsPrimaryBranchName(name), remote), hash);
}

std::vector<std::string> gitLines(std::string_view text) {
  std::vector<std::string> result;
  while (!text.empty()) {
    std::size_t end = std::min(text.find('\n'), text.size());
    result.emplace_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return result;
}
