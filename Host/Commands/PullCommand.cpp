#include "Command.h"
#include "HostError.h"
#include "QRBSourceControlBranch.h"
#include "QRBSourceControlCancellable.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlWorkingCopy.h"
#include "RemoteFinder.h"
#include "WorkingCopyFinder.h"

namespace host {

namespace {

ExitStatus runPull(Session& session, const std::string& folder) {
  FoundWorkingCopy found = findWorkingCopy(session, folder);
  if (found.error) return session.fail(found.error);
  CurrentBranch current = findCurrentBranch(session, found.workingCopy);
  if (current.error) return session.fail(current.error);
  if (current.followed == nullptr) {
    return session.fail(hostError("The branch \"" + current.branch->name().str() + "\" follows no branch of a remote.",
                                  "Use \"qrbscm fetch\", then \"qrbscm merge REMOTE/BRANCH\"."));
  }
  auto repository = found.workingCopy->repository();
  FoundRemote from = findRemote(session, repository, current.followed->remoteName().str());
  if (from.error) return session.fail(from.error);
  qrb::Error error = session.perform("Fetching from " + from.name, [&](Session::Done done) {
    return repository->downloadUpdatesFromRemoteRepository(from.remote, session.progressBlock(), done);
  });
  if (error) return session.fail(error);
  error = session.perform("Merging",
                          [&](Session::Done done) { return found.workingCopy->mergeBranch(current.followed, done); });
  return error ? session.fail(error) : ExitStatus::success;
}

Command::Run declarePull(CLI::App& app) {
  auto folder = addDirectoryOption(app);
  return [folder](Session& session) { return runPull(session, *folder); };
}

}  // namespace

extern const Command pullCommand{"pull", "Get what the branch followed by the current one has, and merge it",
                                 "The same as \"qrbscm fetch\" and \"qrbscm merge\" of the branch that the current one "
                                 "follows. Where both have changed\n"
                                 "the same lines, the merge stops as that of \"qrbscm merge\" does.\n\n"
                                 "Examples:\n"
                                 "  qrbscm pull\n"
                                 "  qrbscm pull -C ~/orchard\n",
                                 declarePull, false};

}  // namespace host
