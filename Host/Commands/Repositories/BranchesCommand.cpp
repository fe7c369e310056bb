#include "BranchListing.h"
#include "Command.h"
#include "WorkingCopyFinder.h"

namespace host {

namespace {

ExitStatus runBranches(Session& session, const std::string& path) {
  session.endUnread();
  auto found = findWorkingCopy(session, path);
  return found ? listBranches(session, found->workingCopy, {}) : session.fail(found.error());
}

Command::Run declareBranches(CommandDeclaration& command) {
  auto path = std::make_shared<std::string>();
  addPathArgument(command, *path);
  return with(path, runBranches);
}

}  // namespace

extern const Command branchesCommand{"branches", "List the branches of a repository and mark the current one",
                                     "\"qrbscm branch list\" lists those of remotes, too.\n\n"
                                     "Examples:\n"
                                     "  qrbscm branches\n"
                                     "  qrbscm branches --json ~/orchard\n",
                                     declareBranches};

}  // namespace host
