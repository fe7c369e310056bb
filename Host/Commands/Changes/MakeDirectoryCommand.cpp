#include "FileRequest.h"
#include "QRBSourceControlCancellable.h"

namespace host {

namespace {

struct MakeDirectoryOptions {
  FileArguments folders;
  bool parents = false;
};

ExitStatus runMakeDirectory(Session& session, const MakeDirectoryOptions& options) {
  auto found = findFiles(session, options.folders);
  if (!found) return session.fail(found.error());
  for (const qrb::String& path : found->paths) {
    qrb::Error error = session.perform("Making a folder", [&](Session::Done done) {
      return found->place.workingCopy->createDirectory(path, options.parents, qrb::Dictionary::object(), done);
    });
    if (error) return session.fail(error);
  }
  return ExitStatus::success;
}

Command::Run declareMakeDirectory(CommandDeclaration& command) {
  auto options = std::make_shared<MakeDirectoryOptions>();
  addFileArguments(command, options->folders, "Folders to make, one after the other").required().folder("...");
  command.flag("-p,--parents", options->parents, "Make also the folders above that are missing");
  return with(options, runMakeDirectory);
}

}  // namespace

extern const Command makeDirectoryCommand{
    "mkdir", "Make folders in a working copy",
    "Where the system keeps folders under source control, they are added with the next commit.\n\n"
    "Examples:\n"
    "  qrbscm mkdir docs\n"
    "  qrbscm mkdir -p src/fruit/apple\n",
    declareMakeDirectory, false};

}  // namespace host
