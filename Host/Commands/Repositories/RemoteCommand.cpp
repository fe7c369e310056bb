#include "Command.h"
#include "QRBSourceControlCancellable.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlWorkingCopy.h"
#include "RemoteFinder.h"
#include "Text.h"
#include "WorkingCopyFinder.h"

namespace host {

namespace {

struct RemoteOptions {
  std::string folder;
  std::string name;
  std::string url;
};

bool isPrimary(const ListedRemotes& listed, const QRBSourceControlRemoteRepositoryPtr& remote) {
  return listed.primary != nullptr && (remote == listed.primary || remote->URL() == listed.primary->URL());
}

void print(Session& session, JSONArray& array, std::string_view name, const QRBSourceControlRemoteRepositoryPtr& remote,
           bool primary) {
  std::string url = remote == nullptr ? std::string() : remote->URL().withoutPassword().absoluteString().str();
  if (session.json()) {
    JSONValue entry;
    setPath(entry, "name", name);
    entry["url"] = remote == nullptr ? JSONValue() : JSONValue(url);
    entry["primary"] = primary;
    array.add(entry);
    return;
  }
  session.output().write(Style::bold, displayText(name));
  session.output().write("  ");
  if (remote == nullptr) session.output().write(Style::dim, "(no URL)");
  session.output().write(displayText(url));
  if (primary) session.output().write(Style::dim, "  (primary)");
  session.output().write("\n");
}

ExitStatus runList(Session& session, const RemoteOptions& options) {
  session.endUnread();
  auto found = findWorkingCopy(session, options.folder);
  if (!found) return session.fail(found.error());
  auto listed = listRemotes(session, found->workingCopy->repository());
  if (!listed) return session.fail(listed.error());
  auto others = listRemotesWithoutURL(session, found->workingCopy->repository(), *listed);
  if (!others) return session.fail(others.error());
  static const QRBSourceControlRemoteRepositories none;
  JSONArray array(session.output());
  for (const auto& [name, remote] : listed->byName == nullptr ? none : *listed->byName) {
    print(session, array, name.view(), remote, isPrimary(*listed, remote));
  }
  for (const qrb::String& name : *others) print(session, array, name.view(), nullptr, false);
  if (session.json()) array.finish();
  return ExitStatus::success;
}

ExitStatus runAdd(Session& session, const RemoteOptions& options) {
  auto found = findWorkingCopy(session, options.folder);
  if (!found) return session.fail(found.error());
  auto url = readAddress(options.url, options.folder);
  if (!url) return session.fail(url.error());
  auto repository = found->workingCopy->repository();
  auto remote = QRBSourceControlRemoteRepository::initUnsavedWithURL(*url, repository->sourceControlSystem());
  qrb::Error error = session.perform("Adding the remote", [&](Session::Done done) {
    return repository->addRemoteRepository(remote, options.name, done);
  });
  return error ? session.fail(error) : ExitStatus::success;
}

ExitStatus runRemove(Session& session, const RemoteOptions& options) {
  auto found = findWorkingCopy(session, options.folder);
  if (!found) return session.fail(found.error());
  qrb::Error error = session.perform("Removing the remote", [&](Session::Done done) {
    return found->workingCopy->repository()->removeRemoteRepositoryNamed(options.name, done);
  });
  return error ? session.fail(error) : ExitStatus::success;
}

Command::Run declareRemote(CommandDeclaration& command) {
  auto options = std::make_shared<RemoteOptions>();
  addDirectoryOption(command, options->folder);
  auto nameArgument = [&](CommandDeclaration& action) {
    action.argument("NAME", options->name, "What the remote is called").required();
  };
  command.action("list", "List the remotes (also without an action)", with(options, runList));
  CommandDeclaration& add = command.action("add", "Make a remote known to the repository", with(options, runAdd));
  nameArgument(add);
  add.argument("URL", options->url, "Where it is: a URL, user@host:path, or the path of a folder").folder().required();
  nameArgument(command.action("remove", "Forget a remote; the remote itself stays as it is", with(options, runRemove)));
  return with(options, runList);
}

}  // namespace

extern const Command remoteCommand{"remote", "List, add and remove the remotes of a repository",
                                   "Examples:\n"
                                   "  qrbscm remote\n"
                                   "  qrbscm remote add upstream https://example.org/orchard.git\n"
                                   "  qrbscm remote remove upstream\n",
                                   declareRemote};

}  // namespace host
