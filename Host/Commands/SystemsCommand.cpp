#include "Command.h"
#include "QRBSourceControlSystem.h"
#include "Systems.h"
#include "Text.h"

namespace host {

namespace {

JSONValue authenticationWords(QRBSourceControlAuthenticationTypes types) {
  JSONValue words = JSONValue::array();
  if ((types & QRBSourceControlAuthenticationTypeAnonymous) != 0) words.push_back("anonymous");
  if ((types & QRBSourceControlAuthenticationTypeBasic) != 0) words.push_back("basic");
  if ((types & QRBSourceControlAuthenticationTypeSSHKeys) != 0) words.push_back("ssh-keys");
  return words;
}

JSONValue jsonEntry(const QRBSourceControlSystem& system) {
  JSONValue entry;
  entry["name"] = system.name().view();
  entry["identifier"] = system.plugInIdentifier().view();
  entry["version"] = system.version().view();
  entry["workingCopyFolder"] = system.workingCopyFolderIdentifier().view();
  entry["localRepository"] = system.hasLocalRepository();
  entry["multipleRemotes"] = system.supportsMultipleRemoteRepositories();
  entry["authentication"] = authenticationWords(system.supportedAuthenticationTypes());
  return entry;
}

ExitStatus runSystems(Session& session) {
  session.endUnread();
  auto [systems, error] = listSystems(session);
  if (error) return session.fail(error);
  Output& output = session.output();
  if (session.json()) {
    JSONArray array(output);
    for (const QRBSourceControlSystemPtr& system : systems) array.add(jsonEntry(*system));
    array.finish();
    return ExitStatus::success;
  }
  if (systems.empty()) session.note("No plug-in answered.");
  for (const QRBSourceControlSystemPtr& system : systems) {
    output.write(Style::bold, displayText(system->name().view()));
    output.write(" " + displayText(system->version().view()) + "  ");
    output.write(Style::dim, displayText(system->plugInIdentifier().view()));
    output.write("\n");
  }
  return ExitStatus::success;
}

Command::Run declareSystems(CLI::App&) {
  return runSystems;
}

}  // namespace

extern const Command systemsCommand{
    "systems", "List the source control systems whose plug-ins answer",
    "Each installed plug-in is started and asked what it is. One that cannot be started is left out.\n\n"
    "Examples:\n"
    "  qrbscm systems          what can be used here\n"
    "  qrbscm systems -v       and what the plug-ins have to say about it\n"
    "  qrbscm systems --json   the same with what each system can do\n",
    declareSystems};

}  // namespace host
