#include "FileRequest.h"
#include "QRBSourceControlCancellable.h"

namespace host {

namespace {

struct DiscardOptions {
  FileArguments files;
  bool all = false;
};

ExitStatus runDiscard(Session& session, const DiscardOptions& options) {
  if (!options.all) {
    return runFileRequest(session, options.files, "Discarding changes",
                          &QRBSourceControlWorkingCopy::discardChangesInFiles);
  }
  auto found = findWorkingCopy(session, options.files.folder);
  if (!found) return session.fail(found.error());
  qrb::Error error = session.perform("Discarding changes", [&](Session::Done done) {
    return found->workingCopy->discardAllChangesWithCompletionBlock(done);
  });
  return error ? session.fail(error) : ExitStatus::success;
}

Command::Run declareDiscard(CommandDeclaration& command) {
  auto options = std::make_shared<DiscardOptions>();
  auto& files = addFileArguments(command, options->files, "Files or folders to bring back");
  auto& all = command.flag("--all", options->all, "Bring back the whole working copy");
  files.excludes(all);
  command.checkUsage([options] {
    return options->all || !options->files.files.empty() ? "" : "which files? Name them, or say --all";
  });
  return with(options, runDiscard);
}

}  // namespace

extern const Command discardCommand{"discard", "Bring files back to what was last committed; their changes are lost",
                                    "Say which files, or --all. Files that are not under source control stay.\n\n"
                                    "Examples:\n"
                                    "  qrbscm discard src/main.c\n"
                                    "  qrbscm discard --all -C ~/orchard\n",
                                    declareDiscard, false};

}  // namespace host
