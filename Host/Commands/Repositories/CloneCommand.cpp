#include <filesystem>

#include "Command.h"
#include "HostError.h"
#include "LocationOptions.h"
#include "QRBSourceControlCancellable.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlSystem.h"
#include "QRBSourceControlURL.h"
#include "QRBSourceControlWorkingCopy.h"
#include "RemoteFinder.h"
#include "Systems.h"
#include "Text.h"

namespace host {

namespace {

namespace fs = std::filesystem;

struct CloneOptions {
  std::string address;
  std::string folder;
  std::string system;
  LocationNames names;
};

// As the other tools of the trade name it: after the repository.
qrb::Result<fs::path> folderFor(const qrb::URL& url, const std::string& chosen) {
  std::string name = chosen;
  if (name.empty()) {
    std::string address = url.absoluteString().str();
    while (address.ends_with('/')) address.pop_back();
    name = qrbscm_lastPathComponent(qrb::URL(address)).str();
    if (name.ends_with(".git")) name.erase(name.size() - 4);
    bool isName = !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos;
    if (!isName) return hostError("The address gives the new folder no name.", "Name one after it.");
  }
  fs::path folder = fs::absolute(name).lexically_normal();
  return folder.has_filename() ? folder : folder.parent_path();
}

ExitStatus runClone(Session& session, const CloneOptions& options) {
  auto url = readAddress(options.address, {});
  if (!url) return session.fail(url.error());
  auto folder = folderFor(*url, options.folder);
  if (!folder) return session.fail(folder.error());
  auto system = findSystemFor(session, *url, options.system);
  if (!system) return session.fail(system.error());
  auto remote = QRBSourceControlRemoteRepository::initUnsavedWithURL(*url, *system);
  auto request = [&](Session::Done done) {
    return remote->createWorkingCopyAtURL(qrb::URL::fileURL(folder->native(), true), locationNamed(options.names),
                                          nullptr, session.progressBlock(),
                                          [done](auto, qrb::Error error) { done(std::move(error)); });
  };
  qrb::Error error = session.perform("Cloning", request, remote);
  if (error) return session.fail(error);
  if (session.json()) {
    JSONArray array(session.output());
    JSONValue entry;
    setPath(entry, "path", folder->native());
    array.add(entry);
    array.finish();
  } else {
    session.output().write(displayPath(folder->native()) + "\n");
  }
  return ExitStatus::success;
}

Command::Run declareClone(CommandDeclaration& command) {
  auto options = std::make_shared<CloneOptions>();
  command.argument("URL", options->address, "The repository: a URL, user@host:path, or the path of a folder")
      .folder()
      .required();
  command.argument("FOLDER", options->folder, "The new working copy (default: a folder named after the repository)")
      .folder();
  addLocationOptions(command, options->names);
  command.option("--system", options->system, "Of that system (default: as the address suggests, else git)")
      .text("NAME");
  return with(options, runClone);
}

}  // namespace

extern const Command cloneCommand{"clone", "Make a working copy of a repository that is elsewhere",
                                  "Prints the path of the working copy. When it is interrupted or fails, nothing of it "
                                  "is left. A server that wants to\n"
                                  "know who you are is answered with an account that is kept (\"qrbscm accounts\"), "
                                  "else you are asked on the terminal.\n\n"
                                  "Examples:\n"
                                  "  qrbscm clone https://example.org/orchard.git\n"
                                  "  qrbscm clone git@example.org:orchard.git ~/trees --branch topic\n"
                                  "  qrbscm clone /srv/git/orchard.git --tag v1.0\n",
                                  declareClone};

}  // namespace host
