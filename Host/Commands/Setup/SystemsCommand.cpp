#include "Command.h"
#include "QRBSourceControlSystem.h"
#include "SandboxSupport.h"
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

/// What this kernel keeps the shipped plug-ins from, and the tools that they run, while a request only looks.
void printProtections(Output& output) {
  const qrb::SandboxSupport& support = qrb::sandboxSupport();
  std::pair<const char*, bool> limits[] = {{"executing other programs and changing files", support.files},
                                           {"cutting files short", support.truncating},
                                           {"TCP", support.tcp},
                                           {"control of devices", support.devices},
                                           {"signals and abstract sockets", support.signalsAndSockets}};
  output.write("Requests of the shipped plug-ins that only look are kept, by Landlock " +
               std::to_string(support.version) + ", from:\n");
  for (const auto& [what, holds] : limits) {
    output.write(std::string("  ") + what + (holds ? "\n" : " (this kernel does not)\n"));
  }
}

ExitStatus runSystems(Session& session) {
  session.endUnread();
  ListedSystems systems = listSystems(session);
  if (!systems) return session.fail(systems.error());
  Output& output = session.output();
  if (session.json()) {
    JSONArray array(output);
    for (const QRBSourceControlSystemPtr& system : *systems) array.add(jsonEntry(*system));
    array.finish();
    return ExitStatus::success;
  }
  if (systems->empty()) session.note("No plug-in answered.");
  for (const QRBSourceControlSystemPtr& system : *systems) {
    output.write(Style::bold, displayText(system->name().view()));
    output.write(" " + displayText(system->version().view()) + "  ");
    output.write(Style::dim, displayText(system->plugInIdentifier().view()));
    output.write("\n");
  }
  if (session.verbose()) printProtections(output);
  return ExitStatus::success;
}

Command::Run declareSystems(CommandDeclaration&) {
  return runSystems;
}

}  // namespace

extern const Command systemsCommand{
    "systems", "List the source control systems whose plug-ins answer",
    "Each installed plug-in is started and asked what it is. One that cannot be started is left out.\n\n"
    "Examples:\n"
    "  qrbscm systems          what can be used here\n"
    "  qrbscm systems -v       and what the plug-ins say, and what they are kept from here\n"
    "  qrbscm systems --json   the same with what each system can do\n",
    declareSystems};

}  // namespace host
