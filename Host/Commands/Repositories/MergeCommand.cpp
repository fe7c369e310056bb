#include "Command.h"
#include "LocationFinder.h"
#include "QRBSourceControlBranch.h"
#include "QRBSourceControlCancellable.h"
#include "QRBSourceControlRepository.h"
#include "QRBSourceControlWorkingCopy.h"
#include "WorkingCopyFinder.h"

namespace host {

namespace {

struct MergeOptions {
  std::string folder;
  std::string branch;
};

ExitStatus runMerge(Session& session, const MergeOptions& options) {
  auto found = findWorkingCopy(session, options.folder);
  if (!found) return session.fail(found.error());
  auto from = findBranch(session, found->workingCopy->repository(), options.branch);
  if (!from) return session.fail(from.error());
  auto branch = std::dynamic_pointer_cast<const QRBSourceControlBranch>(from->location);
  qrb::Error error =
      session.perform("Merging", [&](Session::Done done) { return found->workingCopy->mergeBranch(branch, done); });
  return session.finishTransfer(error);
}

Command::Run declareMerge(CommandDeclaration& command) {
  auto options = std::make_shared<MergeOptions>();
  addDirectoryOption(command, options->folder);
  command.argument("BRANCH", options->branch, "The branch to merge, or one of a remote: origin/main").required();
  return with(options, runMerge);
}

}  // namespace

extern const Command mergeCommand{"merge", "Merge a branch into the working copy",
                                  "Where both sides changed the same lines the merge stops: \"qrbscm status\" shows "
                                  "the files in conflict; edit them,\n"
                                  "then use \"qrbscm resolve\" and \"qrbscm commit\".\n\n"
                                  "Examples:\n"
                                  "  qrbscm merge topic\n"
                                  "  qrbscm merge origin/main\n",
                                  declareMerge, false};

}  // namespace host
