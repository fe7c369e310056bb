#include <cerrno>
#include <filesystem>

#include "BlueprintActions.h"
#include "BlueprintFiles.h"
#include "HostError.h"
#include "LocationPrinting.h"
#include "QRBSourceControlBranch.h"
#include "QRBSourceControlMultiCancellable.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlSystem.h"
#include "QRBSourceControlWorkingCopy.h"
#include "QRBSourceControlWorkspace.h"
#include "QRBSourceControlWorkspaceBlueprint.h"
#include "RemoteFinder.h"
#include "Text.h"
#include "WorkspaceFinder.h"

namespace host {

namespace {

namespace fs = std::filesystem;
using BlueprintPtr = QRBSourceControlWorkspaceBlueprintPtr;
using WorkingCopyPtr = QRBSourceControlWorkingCopyPtr;

struct BlueprintCreateOptions {
  std::string folder;
  std::string primary;
  std::string project;
  std::string name;
  BlueprintWriting to;
};

fs::path rootOf(const WorkingCopyPtr& workingCopy) {
  return (fs::path(workingCopy->fileURL().path().str()) / "").parent_path();
}

qrb::Error noPrimary(const FoundWorkspace& found) {
  std::string suggestion = "Name it with --primary, or name the project with --project. There are:";
  for (const WorkingCopyPtr& each : found.workspace->workingCopies()) suggestion += "\n  " + placeIn(found.root, each);
  return hostError("It is not clear which of the working copies is the primary one, which holds the project.",
                   suggestion);
}

// The working copy that holds the project: the one that the user says, else the outermost, else the only one.
qrb::Error choosePrimary(const FoundWorkspace& found, const BlueprintCreateOptions& options) {
  const QRBSourceControlWorkspacePtr& workspace = found.workspace;
  const std::string& named = options.primary.empty() ? options.project : options.primary;
  WorkingCopyPtr primary;
  if (!named.empty()) {
    std::error_code failure;
    fs::path place = fs::canonical(named, failure);
    if (failure) return hostError(named + ": " + failure.message(), {}, failure.value());
    primary = workspace->workingCopyForURL(qrb::URL::fileURL(place.native()));
    if (primary == nullptr) return hostError("\"" + named + "\" is in none of the working copies.", {}, ENOENT);
  } else if (workspace->workingCopies().size() == 1) {
    primary = workspace->workingCopies().front();
  } else {
    primary = workspace->workingCopyForURL(qrb::URL::fileURL(found.root));
  }
  if (primary == nullptr) return noPrimary(found);
  workspace->setPrimaryWorkingCopy(primary);
  workspace->sortWorkingCopies();
  return {};
}

// Where nobody says which file or folder the project is, it is the working copy itself.
qrb::Error choosePathToProject(const FoundWorkspace& found, const BlueprintCreateOptions& options) {
  fs::path root = rootOf(found.workspace->primaryWorkingCopy());
  std::error_code failure;
  fs::path project = options.project.empty() ? root : fs::canonical(options.project, failure);
  if (failure) return hostError(options.project + ": " + failure.message(), {}, failure.value());
  fs::path relative = project.lexically_relative(root);
  if (relative.empty() || *relative.begin() == "..") {
    return hostError("The project \"" + options.project + "\" is not in the primary working copy, which is " +
                         placeIn(found.root, found.workspace->primaryWorkingCopy()) + ".",
                     {}, ENOENT);
  }
  found.workspace->setRelativePathToProject(relative.native());
  return {};
}

struct Derived {
  BlueprintPtr blueprint;
  std::shared_ptr<const QRBSourceControlWorkspace::Remotes> remotes;
  qrb::Error error;
};

Derived derive(Session& session, const QRBSourceControlWorkspacePtr& workspace) {
  auto derived = std::make_shared<Derived>();
  derived->error = session.perform("Asking the working copies", [&](Session::Done done) {
    return workspace->blueprintWithCompletionBlock([derived, done](auto blueprint, auto remotes, qrb::Error error) {
      derived->blueprint = std::move(blueprint);
      derived->remotes = std::move(remotes);
      done(std::move(error));
    });
  });
  return *derived;
}

// The library has paths begin in the folder around the primary working copy. A checkout is to give the folder that the
// user named, if that is a folder of working copies and not one itself.
void beginPathsIn(const FoundWorkspace& found, const Derived& derived) {
  if (found.workspace->workingCopyForURL(qrb::URL::fileURL(found.root)) != nullptr) return;
  for (const auto& [workingCopy, remote] : *derived.remotes) {
    derived.blueprint->workingCopyPaths()->set(remote, placeIn(found.root, workingCopy) + "/");
  }
}

// What of the location another machine would not find, or the file will not say.
std::string doubtAbout(const BlueprintPtr& blueprint, const QRBSourceControlRemoteRepositoryPtr& remote,
                       const BlueprintCreateOptions& options) {
  auto location = blueprint->locationForRemoteRepository(remote);
  auto branch = std::dynamic_pointer_cast<const QRBSourceControlBranch>(location);
  // Where all branches are those of the one repository, none has to follow another.
  bool hasRemotes = remote->sourceControlSystem()->supportsMultipleRemoteRepositories();
  if (hasRemotes && branch != nullptr && !branch->isRemoteBranch()) {
    return "the branch " + displayText(branch->name().view()) +
           " follows none of a remote; a checkout needs one of that name there.";
  }
  if (isRevisionAlone(location) && options.to.noRevisions)
    return "on a revision only, which --no-revisions leaves out.";
  return {};
}

void tellWhatIsLeftOut(Session& session, const FoundWorkspace& found, const Derived& derived) {
  for (const WorkingCopyPtr& workingCopy : found.workspace->workingCopies()) {
    if (derived.remotes->contains(workingCopy)) continue;
    session.note(displayPath(placeIn(found.root, workingCopy)) +
                 ": left out, as it has no history yet or no remote that another machine could reach.");
  }
}

void tellWhatIsDifferent(Session& session, const FoundWorkspace& found, const Derived& derived,
                         const BlueprintCreateOptions& options) {
  tellWhatIsLeftOut(session, found, derived);
  for (const auto& [workingCopy, remote] : *derived.remotes) {
    std::string doubt = doubtAbout(derived.blueprint, remote, options);
    if (!doubt.empty()) session.note(displayPath(placeIn(found.root, workingCopy)) + ": " + doubt);
  }
  for (const auto& remote : derived.blueprint->repositoriesWithWorkingCopyPathsAboveRootFolder()) {
    session.note(displayPath(placeOf(derived.blueprint, remote)) +
                 ": above the folder of the primary working copy; a checkout needs --allow-outside.");
  }
}

std::string nameFor(const FoundWorkspace& found, const BlueprintCreateOptions& options, const BlueprintPtr& blueprint) {
  if (!options.name.empty()) return options.name;
  bool isNamedAfterProject = !options.project.empty() && !blueprint->name().empty() && blueprint->name() != ".";
  return isNamedAfterProject ? blueprint->name().str() : fs::path(found.root).filename().native();
}

ExitStatus runCreate(Session& session, const BlueprintCreateOptions& options) {
  auto found = findWorkspace(session, options.folder);
  if (!found) return session.fail(found.error());
  if (qrb::Error error = choosePrimary(*found, options)) return session.fail(error);
  if (qrb::Error error = choosePathToProject(*found, options)) return session.fail(error);
  Derived derived = derive(session, found->workspace);
  // Where nothing at all was to be recorded, the library knows of no remote and has looked everywhere.
  if (derived.error && derived.remotes != nullptr) {
    tellWhatIsLeftOut(session, *found, derived);
    return session.fail(hostError("There is nothing to record in \"" + found->root + "\".",
                                  "A working copy that has history and a remote on a server can be recorded.", ENOENT));
  }
  if (derived.error) return session.fail(derived.error);
  beginPathsIn(*found, derived);
  tellWhatIsDifferent(session, *found, derived, options);
  if (options.to.credentials) {
    for (const auto& remote : derived.blueprint->remoteRepositories()) useKeptAccount(remote);
  }
  derived.blueprint->setName(nameFor(*found, options, derived.blueprint));
  BlueprintWriting to = options.to;
  if (to.file.empty()) {
    to.file = derived.blueprint->name().str() + "." + QRBSourceControlWorkspaceBlueprintExtension;
    std::replace(to.file.begin(), to.file.end(), '/', '-');
  }
  return writeBlueprint(session, derived.blueprint, to);
}

}  // namespace

void addBlueprintCreate(CommandDeclaration& blueprint) {
  auto options = std::make_shared<BlueprintCreateOptions>();
  CommandDeclaration& action =
      blueprint.action("create", "Make a blueprint of the working copies in a folder", with(options, runCreate));
  action.argument("FOLDER", options->folder, "The workspace (default: the current folder)").folder();
  action
      .option("-o,--output", options->to.file,
              "The new file, *.oxscmblueprint or *.oxcheckout; - prints JSON (default: named after the blueprint)")
      .file("FILE");
  action.option("--primary", options->primary, "The working copy that holds the project").folder("DIR");
  action.option("--project", options->project, "The project's file or folder in the primary working copy").file("PATH");
  action.option("--name", options->name, "What the blueprint is called (default: as the project, or as the folder)")
      .text("NAME");
  addWritingOptions(action, options->to);
  action.explain(
      "Records the remote of every working copy, the path from FOLDER on, and what it is on: the branch of the remote\n"
      "that it follows, a tag or a revision. Working copies that no other machine could fetch, such as those whose\n"
      "remote is a path of this one, are left out. Passwords and keys stay out of the file unless --credentials is\n"
      "given.\n\n"
      "Examples:\n"
      "  qrbscm blueprint create --primary app\n"
      "  qrbscm blueprint create ~/orchard --project ~/orchard/app/orchard.sln -o orchard.oxscmblueprint\n"
      "  qrbscm blueprint create --no-revisions -o - | jq .\n");
}

}  // namespace host
