#include "Command.h"
#include "QRBSourceControlCancellable.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlWorkingCopy.h"
#include "RemoteFinder.h"
#include "WorkingCopyFinder.h"

namespace host {

namespace {

struct UpdateOptions {
  std::string folder;
  std::string remote;
};

ExitStatus runUpdate(Session& session, const UpdateOptions& options) {
  auto found = findWorkingCopy(session, options.folder);
  if (!found) return session.fail(found.error());
  auto from = findUpdateSource(session, found->workingCopy->repository(), options.remote);
  if (!from) return session.fail(from.error());
  auto request = [&](Session::Done done) {
    return found->workingCopy->forceUpdateWorkingCopyFromRepository(from->remote, session.progressBlock(), done);
  };
  qrb::Error error = session.perform("Updating from " + from->name, request, from->remote);
  return session.finishTransfer(error);
}

Command::Run declareUpdate(CommandDeclaration& command) {
  auto options = std::make_shared<UpdateOptions>();
  addDirectoryOption(command, options->folder);
  command.argument("REMOTE", options->remote, "From that remote (default: the primary one)");
  return with(options, runUpdate);
}

}  // namespace

extern const Command updateCommand{
    "update", "Get what a remote has, and merge it into the working copy",
    "Merged is what the current branch follows, else the branch of the same name; it is\n"
    "rebased where that is how the repository is set up. Local changes are kept; where\n"
    "they are in the way, nothing is done. Conflicts are left as \"qrbscm merge\" does.\n\n"
    "Examples:\n"
    "  qrbscm update\n"
    "  qrbscm update upstream\n",
    declareUpdate, false};

}  // namespace host
