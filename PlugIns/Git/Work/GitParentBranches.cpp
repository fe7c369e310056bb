#include "GitParentBranches.h"

#include <algorithm>

#include "GitBranchCommands.h"
#include "GitBranchValues.h"
#include "GitRefParser.h"

namespace {

using Entries = std::vector<GitBranchEntry>;

bool contains(const Entries& entries, std::string_view fullName) {
  return std::ranges::find(entries, fullName, &GitBranchEntry::fullName) != entries.end();
}

class Finder {
 public:
  Finder(const GitTool& tool, std::string_view ref, const std::vector<std::string>& remotes)
      : _tool(tool), _ref(ref), _remotes(remotes) {}

  GitOutcome find(Entries& parents) {
    GitOutcome outcome = list(gitBranchesCommand(), _all);
    if (!outcome) return outcome;
    auto self = std::ranges::find(_all, _ref, &GitBranchEntry::fullName);
    if (self == _all.end()) {
      return GitOutcome::failed({GitFailureKind::unknownBranch, _ref, "There is no " + _ref + "."});
    }
    _self = *self;
    if (gitIsPrimaryBranchName(_self.name)) return outcome;
    std::erase_if(_all, [this](const GitBranchEntry& entry) { return entry.name == _self.name; });
    outcome = findByHistory(parents);
    if (outcome) outcome = sort(parents);
    if (outcome) moveToFront(parents, _self.upstream);
    if (outcome) outcome = moveOriginToFront(parents);
    return outcome;
  }

 private:
  GitOutcome list(const GitCommand& command, Entries& entries) const {
    GitRefParser parser;
    return _tool.parse(command, parser, [&](const GitRefRecord& record) {
      bool isRemote = record.kind == GitRefRecord::Kind::remoteBranch;
      std::string_view remote = isRemote ? gitRemoteOfBranch(record.name, _remotes) : std::string_view();
      if (isRemote && remote.size() + 1 >= record.name.size()) return;
      std::string_view name = isRemote ? record.name.substr(remote.size() + 1) : record.name;
      entries.push_back({std::string(record.fullName), std::string(name), std::string(remote), std::string(record.hash),
                         std::string(record.upstream)});
    });
  }

  GitOutcome listOthersHolding(std::string_view hash, Entries& entries) const {
    GitOutcome outcome = list(gitBranchesHoldingCommand(hash), entries);
    std::erase_if(entries, [this](const GitBranchEntry& entry) { return entry.name == _self.name; });
    return outcome;
  }

  GitOutcome findByHistory(Entries& parents) const {
    Entries whole;
    GitOutcome outcome = listOthersHolding(_self.hash, whole);
    if (!outcome) return outcome;
    // What a main branch holds came from there, or went back there.
    bool isInMain =
        std::ranges::any_of(whole, [](const GitBranchEntry& entry) { return gitIsPrimaryBranchName(entry.name); });
    std::string begin;
    if (!isInMain) outcome = findBegin(whole, begin);
    if (!outcome) return outcome;
    if (!begin.empty()) {
      outcome = listOthersHolding(begin, parents);
      std::erase_if(parents, [&](const GitBranchEntry& entry) { return contains(whole, entry.fullName); });
    }
    if (parents.empty()) parents = std::move(whole);
    return outcome;
  }

  /// The commit before the oldest one that only this branch and those made from it hold; empty where there is none.
  GitOutcome findBegin(const Entries& madeFromIt, std::string& begin) const {
    std::vector<std::string> except{_self.fullName};
    for (const GitBranchEntry& entry : madeFromIt) except.push_back(entry.fullName);
    std::string line;
    std::string last;
    GitOutcome outcome = _tool.run(gitOwnCommitsCommand(_self.fullName, except), [&](std::string_view bytes) {
      for (char byte : bytes) {
        if (byte == '\n') {
          last = std::move(line);
          line.clear();
        } else {
          line.push_back(byte);
        }
      }
      return true;
    });
    std::size_t blank = last.find(' ');
    if (blank != std::string::npos) begin = last.substr(blank + 1, last.find(' ', blank + 1) - blank - 1);
    return outcome;
  }

  GitOutcome sort(Entries& parents) const {
    std::string main;
    std::string_view remote = _self.remote.empty() ? std::string_view("origin") : _self.remote;
    GitOutcome outcome = _tool.run(gitMainBranchOfRemoteCommand(remote), main);
    if (!outcome && outcome.exitCode != 1) return outcome;
    auto known = std::ranges::find(_all, main, &GitBranchEntry::fullName);
    std::string mainName = known == _all.end() ? std::string() : known->name;
    auto rank = [&](const GitBranchEntry& entry) {
      bool isMain = gitIsPrimaryBranchName(entry.name) || (!mainName.empty() && entry.name == mainName);
      return (isMain ? 0 : 2) + (entry.remote.empty() ? 0 : 1);
    };
    std::ranges::stable_sort(parents, {}, rank);
    return {};
  }

  /// Does nothing for a branch that does not exist, and for one of the branch's own name.
  void moveToFront(Entries& parents, std::string_view fullName) const {
    auto known = std::ranges::find(_all, fullName, &GitBranchEntry::fullName);
    if (known == _all.end()) return;
    std::erase_if(parents, [&](const GitBranchEntry& entry) { return entry.fullName == fullName; });
    parents.insert(parents.begin(), *known);
  }

  GitOutcome moveOriginToFront(Entries& parents) const {
    std::string notes;
    GitOutcome outcome = _tool.run(gitBranchNotesCommand(_self.fullName), notes);
    if (!outcome) return outcome;
    std::string origin(gitReadBranchOrigin(notes));
    if (origin.empty()) return outcome;
    // In the order in which git understands a name.
    for (const std::string& fullName : {origin, "refs/" + origin, "refs/heads/" + origin, "refs/remotes/" + origin}) {
      if (!contains(_all, fullName)) continue;
      moveToFront(parents, fullName);
      break;
    }
    return outcome;
  }

  const GitTool& _tool;
  const std::string _ref;
  const std::vector<std::string>& _remotes;
  GitBranchEntry _self;
  Entries _all;
};

}  // namespace

GitOutcome gitFindParentBranches(const GitTool& tool, std::string_view ref, const std::vector<std::string>& remotes,
                                 std::vector<GitBranchEntry>& parents) {
  return Finder(tool, ref, remotes).find(parents);
}
