#include <filesystem>

#include "FilePaths.h"
#include "FileRequest.h"
#include "HostError.h"
#include "LocationFinder.h"
#include "QRBSourceControlCancellable.h"
#include "QRBSourceControlRepository.h"
#include "QRBSourceControlRevisionLocation.h"
#include "Text.h"

namespace host {

namespace {

namespace fs = std::filesystem;

struct ExportOptions {
  std::string folder;
  std::string file;
  std::string place;
  std::string parentOf;
  std::string output = ".";
};

// What comes from before a revision comes in a temporary folder, and is put where the user wants it.
qrb::Result<fs::path> moveInto(const fs::path& folder, const fs::path& file) {
  std::error_code failure;
  fs::path target = folder / file.filename();
  fs::copy_file(file, target, fs::copy_options::none, failure);
  if (failure) {
    return hostError("\"" + target.native() + "\" could not be written: " + failure.message(),
                     "What was exported is at " + file.native() + ".", failure.value());
  }
  fs::remove(file, failure);
  fs::remove(file.parent_path(), failure);
  return target;
}

qrb::Result<fs::path> exportOne(Session& session, const ExportOptions& options, const FoundWorkingCopy& found,
                                const std::string& path, const fs::path& folder) {
  QRBSourceControlRevisionLocationPtr location;
  if (options.parentOf.empty()) {
    auto at = findLocation(session, found.workingCopy->repository(), options.place);
    if (!at) return at.error();
    location = at->location;
  }
  auto url = std::make_shared<qrb::URL>();
  qrb::Error error = session.perform("Exporting", [&](Session::Done done) {
    auto onReply = [url, done](qrb::URL answer, qrb::Error failure) {
      *url = std::move(answer);
      done(std::move(failure));
    };
    if (location == nullptr) return found.workingCopy->exportFile(path, revisionNamed(options.parentOf), onReply);
    return found.workingCopy->exportFile(path, location, qrb::URL::fileURL(folder.native(), true), onReply);
  });
  if (error) return error;
  fs::path exported = url->path().str();
  return location == nullptr ? moveInto(folder, exported) : exported;
}

ExitStatus runExport(Session& session, const ExportOptions& options) {
  auto found = findWorkingCopy(session, options.folder);
  if (!found) return session.fail(found.error());
  auto path = pathInWorkingCopy(options.file, options.folder, found->root);
  if (!path) return session.fail(path.error());
  fs::path output = (fs::absolute(options.folder.empty() ? "." : options.folder) / options.output).lexically_normal();
  std::error_code failure;
  if (!fs::is_directory(output, failure)) {
    return session.fail(hostError("\"" + output.native() + "\" is not a folder.", "Name one that is there.", ENOTDIR));
  }
  auto exported = exportOne(session, options, *found, *path, output);
  if (!exported) return session.fail(exported.error());
  if (session.json()) {
    JSONValue entry;
    setPath(entry, "path", exported->native());
    JSONArray array(session.output());
    array.add(entry);
    array.finish();
  } else {
    session.output().write(displayPath(exported->native()) + "\n");
  }
  return ExitStatus::success;
}

Command::Run declareExport(CommandDeclaration& command) {
  auto options = std::make_shared<ExportOptions>();
  addDirectoryOption(command, options->folder);
  command.argument("FILE", options->file, "The file, under its present name").file().required();
  auto& place = command.argument("REVISION", options->place, "The branch, tag or revision to take it from");
  command.option("--parent-of", options->parentOf, "Take it as it was before that revision")
      .text("REV")
      .excludes(place);
  command.option("-o,--output", options->output, "Write it into that folder (default: the current one)").folder("DIR");
  command.checkUsage([options] {
    return options->place.empty() && options->parentOf.empty() ? "from where? Name a REVISION, or use --parent-of" : "";
  });
  return with(options, runExport);
}

}  // namespace

extern const Command exportCommand{"export", "Write a file as it was at a branch, tag or revision to a new file",
                                   "Prints the path of the new file. The working copy stays as it is.\n\n"
                                   "Examples:\n"
                                   "  qrbscm export src/main.c v1.0 -o /tmp\n"
                                   "  qrbscm export src/main.c --parent-of 1a2b3c4 -o /tmp\n",
                                   declareExport};

}  // namespace host
