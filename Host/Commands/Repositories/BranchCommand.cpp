#include "BranchListing.h"
#include "Command.h"
#include "LocationFinder.h"
#include "QRBSourceControlBranch.h"
#include "QRBSourceControlCancellable.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlWorkingCopy.h"
#include "RemoteFinder.h"
#include "Text.h"
#include "WorkingCopyFinder.h"

namespace host {

namespace {

struct BranchOptions {
  std::string folder;
  std::string name;
  std::string from;
  std::string remote;
  bool remotes = false;
  bool all = false;
};

ExitStatus runList(Session& session, const BranchOptions& options) {
  session.endUnread();
  auto found = findWorkingCopy(session, options.folder);
  if (!found) return session.fail(found.error());
  return listBranches(session, found->workingCopy, {!options.remotes, options.remotes || options.all});
}

ExitStatus runAdd(Session& session, const BranchOptions& options) {
  auto found = findWorkingCopy(session, options.folder);
  if (!found) return session.fail(found.error());
  // Where none is named it begins where the working copy is, which may be on no branch.
  QRBSourceControlRevisionLocationPtr from;
  if (!options.from.empty()) {
    auto named = findBranch(session, found->workingCopy->repository(), options.from);
    if (!named) return session.fail(named.error());
    from = named->location;
  }
  QRBSourceControlRemoteRepositoryPtr remote;
  if (!options.remote.empty()) {
    auto there = findRemote(session, found->workingCopy->repository(), options.remote);
    if (!there) return session.fail(there.error());
    remote = there->remote;
  }
  auto branch = remote == nullptr ? QRBSourceControlBranch::initWithNewBranchName(options.name)
                                  : QRBSourceControlBranch::initWithNewBranchName(options.name, options.remote);
  auto start = std::dynamic_pointer_cast<const QRBSourceControlBranch>(from);
  auto request = [&](Session::Done done) {
    return found->workingCopy->repository()->addBranch(branch, start, nullptr,
                                                       [done](auto, qrb::Error error) { done(std::move(error)); });
  };
  qrb::Error error = session.perform("Adding the branch", request, remote);
  return error ? session.fail(error) : ExitStatus::success;
}

void printRemoved(Session& session, const BranchOptions& options, std::string_view revision) {
  if (session.json()) {
    JSONArray array(session.output());
    JSONValue entry;
    setPath(entry, "name", options.name);
    if (!options.remote.empty()) setPath(entry, "remote", options.remote);
    entry["revision"] = revision;
    array.add(entry);
    array.finish();
    return;
  }
  std::string shown = options.remote.empty() ? options.name : options.remote + "/" + options.name;
  session.output().write("Removed branch " + displayText(shown) + " (was ");
  session.output().write(Style::yellow, displayText(revision));
  session.output().write(").\n");
}

/// The library removes branches that nothing else holds, too, so the way back is shown: what the branch stood for.
ExitStatus runRemove(Session& session, const BranchOptions& options) {
  auto found = findWorkingCopy(session, options.folder);
  if (!found) return session.fail(found.error());
  QRBSourceControlRemoteRepositoryPtr remote;
  auto branch = QRBSourceControlBranch::initWithBranchName(options.name, false);
  if (!options.remote.empty()) {
    auto there = findRemote(session, found->workingCopy->repository(), options.remote);
    if (!there) return session.fail(there.error());
    remote = there->remote;
    branch = QRBSourceControlBranch::initWithBranchNameRemoteName(options.name, false, options.remote);
  }
  QRBSourceControlRepositoryPtr repository = found->workingCopy->repository();
  auto revision = std::make_shared<QRBSourceControlRevisionPtr>();
  auto lookUp = [&](Session::Done done) {
    QRBSourceControlRepositoryPtr holder = remote == nullptr ? repository : remote;
    return holder->revisionOfLocation(branch, nullptr, [revision, done](auto there, qrb::Error error) {
      *revision = std::move(there);
      done(std::move(error));
    });
  };
  auto removal = [&](Session::Done done) { return repository->removeBranch(branch, nullptr, remote, done); };
  qrb::Error error = session.perform("Looking for the branch", lookUp, remote);
  if (!error) error = session.perform("Removing the branch", removal, remote);
  if (error) return session.fail(error);
  printRemoved(session, options, (*revision)->identifier().view());
  return ExitStatus::success;
}

Command::Run declareBranch(CommandDeclaration& command) {
  auto options = std::make_shared<BranchOptions>();
  addDirectoryOption(command, options->folder);
  auto nameArgument = [&](CommandDeclaration& action) {
    action.argument("NAME", options->name, "The branch").required().checkedBy([](std::string& text) {
      return text.empty() ? "a branch has a name" : "";
    });
  };
  CommandDeclaration& list =
      command.action("list", "List the branches (also without an action)", with(options, runList));
  auto& remotes = list.flag("--remotes", options->remotes, "Those of remotes instead, as last fetched");
  list.flag("--all", options->all, "Those of remotes, too").excludes(remotes);
  CommandDeclaration& add =
      command.action("add", "Make a branch; the working copy stays where it is", with(options, runAdd));
  nameArgument(add);
  add.option("--from", options->from, "Begin where that branch is (default: where the working copy is)").text("BRANCH");
  add.option("--remote", options->remote, "On that remote").text("NAME");
  CommandDeclaration& remove = command.action("remove", "Remove a branch", with(options, runRemove));
  nameArgument(remove);
  remove.option("--remote", options->remote, "From that remote").text("NAME");
  return with(options, runList);
}

}  // namespace

extern const Command branchCommand{
    "branch", "List, add and remove branches",
    "\"qrbscm switch -c\" makes a branch and switches to it. A branch is removed whether or "
    "not it has been merged; the revision\nit had is printed, so that \"qrbscm switch "
    "-c NAME REVISION\" can make it again.\n\n"
    "Examples:\n"
    "  qrbscm branch\n"
    "  qrbscm branch list --all --json\n"
    "  qrbscm branch add topic --from origin/main\n"
    "  qrbscm branch remove topic --remote origin\n",
    declareBranch};

}  // namespace host
