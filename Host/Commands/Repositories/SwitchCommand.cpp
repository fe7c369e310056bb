#include "Command.h"
#include "LocationFinder.h"
#include "QRBSourceControlBranch.h"
#include "QRBSourceControlCancellable.h"
#include "QRBSourceControlRepository.h"
#include "QRBSourceControlWorkingCopy.h"
#include "WorkingCopyFinder.h"

namespace host {

namespace {

struct SwitchOptions {
  std::string folder;
  std::string name;
  std::string newBranch;
};

qrb::Result<FoundLocation> whereTo(Session& session, const QRBSourceControlRepositoryPtr& repository,
                                   const SwitchOptions& options) {
  if (options.newBranch.empty()) return findLocation(session, repository, options.name);
  QRBSourceControlRevisionLocationPtr branch = QRBSourceControlBranch::initWithNewBranchName(options.newBranch);
  if (options.name.empty()) return FoundLocation{branch, nullptr};
  auto start = findLocation(session, repository, options.name);
  if (!start) return start;
  return FoundLocation{branch->locationWithRevision(start->revision), start->revision};
}

ExitStatus runSwitch(Session& session, const SwitchOptions& options) {
  auto found = findWorkingCopy(session, options.folder);
  if (!found) return session.fail(found.error());
  auto target = whereTo(session, found->workingCopy->repository(), options);
  if (!target) return session.fail(target.error());
  qrb::Error error = session.perform("Switching", [&](Session::Done done) {
    return found->workingCopy->switchLocation(target->location,
                                              [done](auto, qrb::Error failure) { done(std::move(failure)); });
  });
  return error ? session.fail(error) : ExitStatus::success;
}

Command::Run declareSwitch(CommandDeclaration& command) {
  auto options = std::make_shared<SwitchOptions>();
  addDirectoryOption(command, options->folder);
  command.argument("NAME", options->name, "A branch, a branch of a remote, a tag or a revision");
  command
      .option("-c,--create", options->newBranch, "Make that branch first, from NAME or from where the working copy is")
      .text("BRANCH");
  command.checkUsage([options] {
    return options->name.empty() && options->newBranch.empty() ? "where to? Name a branch, a tag or a revision" : "";
  });
  return with(options, runSwitch);
}

}  // namespace

extern const Command switchCommand{"switch", "Put the working copy on another branch, a tag or a revision",
                                   "Of what a name can be, a branch comes first, then a tag, a revision, a branch of a "
                                   "remote (for which a branch that\n"
                                   "follows it is made). On a tag or a revision the working copy is on no branch. "
                                   "Local changes are kept; where they are\n"
                                   "in the way, nothing is done.\n\n"
                                   "Examples:\n"
                                   "  qrbscm switch main\n"
                                   "  qrbscm switch -c topic            a new branch, from here\n"
                                   "  qrbscm switch -c fix v1.0         a new branch, from a tag\n"
                                   "  qrbscm switch 1a2b3c4\n",
                                   declareSwitch, false};

}  // namespace host
