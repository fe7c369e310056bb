#include <filesystem>

#include "Command.h"
#include "QRBSourceControlCancellable.h"
#include "QRBSourceControlManager.h"
#include "QRBSourceControlRepository.h"
#include "Systems.h"
#include "Text.h"

namespace host {

namespace {

struct InitOptions {
  std::string folder = ".";
  std::string system = "git";
};

ExitStatus runInit(Session& session, const InitOptions& options) {
  auto found = findSystemNamed(session, options.system);
  if (!found) return session.fail(found.error());
  std::filesystem::path folder = std::filesystem::absolute(options.folder).lexically_normal();
  qrb::Error error = session.perform("Making a repository", [&](Session::Done done) {
    // Not by way of the repository class, which wants a system whose working copies hold repositories.
    return QRBSourceControlManager::sharedInstance()->createRepositoryAtFileURL(
        qrb::URL::fileURL(folder.native(), true), *found,
        [done](auto, qrb::Error failure) { done(std::move(failure)); });
  });
  return error ? session.fail(error) : ExitStatus::success;
}

Command::Run declareInit(CommandDeclaration& command) {
  auto options = std::make_shared<InitOptions>();
  command.argument("FOLDER", options->folder, "Where (default: the current folder); it is made if it is missing");
  command.option("--system", options->system, "Of that system (default: git)").text("NAME");
  return with(options, runInit);
}

}  // namespace

extern const Command initCommand{"init", "Make a new, empty repository in a folder",
                                 "Files that are in the folder stay, and are not under source control yet.\n\n"
                                 "Examples:\n"
                                 "  qrbscm init\n"
                                 "  qrbscm init ~/orchard\n",
                                 declareInit, false};

}  // namespace host
