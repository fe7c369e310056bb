#include "Command.h"
#include "QRBSourceControlCancellable.h"
#include "QRBSourceControlWorkingCopy.h"
#include "WorkingCopyFinder.h"

namespace host {

namespace {

ExitStatus runUpgrade(Session& session, const std::string& folder) {
  auto found = findWorkingCopy(session, folder);
  if (!found) return session.fail(found.error());
  qrb::Error error = session.perform("Upgrading", [&](Session::Done done) {
    return found->workingCopy->upgradeWithProgressBlock(session.progressBlock(), done);
  });
  return error ? session.fail(error) : ExitStatus::success;
}

Command::Run declareUpgrade(CommandDeclaration& command) {
  auto folder = std::make_shared<std::string>();
  addDirectoryOption(command, *folder);
  return [folder](Session& session) { return runUpgrade(session, *folder); };
}

}  // namespace

extern const Command upgradeCommand{
    "upgrade", "Bring a working copy to the form that the tools of today write",
    "Working copies of Subversion that an earlier version made cannot be used before.\n"
    "Earlier versions cannot use it any more afterwards. Files and local changes stay.\n\n"
    "Examples:\n"
    "  qrbscm upgrade\n"
    "  qrbscm upgrade -C ~/old-project\n",
    declareUpgrade, false};

}  // namespace host
