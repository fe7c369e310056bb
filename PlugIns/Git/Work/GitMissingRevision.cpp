#include "GitMissingRevision.h"

#include "GitBranchCommands.h"

GitOutcome gitExplainMissingRevision(const GitTool& tool, const std::string& name, GitOutcome outcome) {
  if (!outcome.failedWith(GitFailureKind::UnknownRevision)) return outcome;
  std::string kind;
  std::string ref;
  if (tool.run(gitObjectKindCommand(name), kind)) {
    if (kind == "blob") outcome.failure.kind = GitFailureKind::FileNotRevision;
    if (kind == "tree") outcome.failure.kind = GitFailureKind::FolderNotRevision;
  } else if (tool.run(gitRefOfNameCommand(name), ref) && !ref.empty()) {
    outcome.failure.kind = GitFailureKind::TargetMissing;
  }
  if (!outcome.failedWith(GitFailureKind::UnknownRevision)) outcome.failure.detail = name;
  return outcome;
}
