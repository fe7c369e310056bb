#include "Command.h"
#include "QRBSourceControlCancellable.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlWorkingCopy.h"
#include "RemoteFinder.h"
#include "WorkingCopyFinder.h"

namespace host {

namespace {

struct FetchOptions {
  std::string folder;
  std::string remote;
};

ExitStatus runFetch(Session& session, const FetchOptions& options) {
  auto found = findWorkingCopy(session, options.folder);
  if (!found) return session.fail(found.error());
  auto repository = found->workingCopy->repository();
  auto from = findRemote(session, repository, options.remote);
  if (!from) return session.fail(from.error());
  qrb::Error error = session.perform("Fetching from " + from->name, [&](Session::Done done) {
    return repository->downloadUpdatesFromRemoteRepository(from->remote, session.progressBlock(), done);
  });
  return session.finishTransfer(error);
}

Command::Run declareFetch(CommandDeclaration& command) {
  auto options = std::make_shared<FetchOptions>();
  addDirectoryOption(command, options->folder);
  command.argument("REMOTE", options->remote, "From that remote (default: the primary one)");
  return with(options, runFetch);
}

}  // namespace

extern const Command fetchCommand{"fetch",
                                  "Get what a remote has and the repository has not; the working copy stays as it is",
                                  "What came is seen with \"qrbscm branch list --remotes\" and \"qrbscm status "
                                  "--remote\". A server that wants to know\n"
                                  "who you are is answered with an account that is kept (\"qrbscm accounts\"), else "
                                  "you are asked on the terminal.\n\n"
                                  "Examples:\n"
                                  "  qrbscm fetch\n"
                                  "  qrbscm fetch upstream\n",
                                  declareFetch, false};

}  // namespace host
