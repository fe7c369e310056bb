#include "GitMissingRevision.h"

#include "GitBranchCommands.h"

GitOutcome gitExplainMissingRevision(const GitTool& tool, const std::string& name, GitOutcome outcome) {
  if (!outcome.failedWith(GitFailureKind::unknownRevision)) return outcome;
  std::string kind;
  std::string ref;
  if (tool.run(gitObjectKindCommand(name), kind)) {
    if (kind == "blob") outcome.failure.kind = GitFailureKind::fileNotRevision;
    if (kind == "tree") outcome.failure.kind = GitFailureKind::folderNotRevision;
  } else if (tool.run(gitRefOfNameCommand(name), ref) && !ref.empty()) {
    outcome.failure.kind = GitFailureKind::targetMissing;
  }
  if (!outcome.failedWith(GitFailureKind::unknownRevision)) outcome.failure.detail = name;
  return outcome;
}
