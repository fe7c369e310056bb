#include "FileRequest.h"

#include <filesystem>

#include "FilePaths.h"
#include "HostError.h"
#include "QRBSourceControlCancellable.h"

namespace host {

namespace {

ExitStatus runFilePairs(Session& session, const FileArguments& arguments, const char* label, FilePairsRequest request) {
  FileArguments sources{arguments.folder, {arguments.files.begin(), arguments.files.end() - 1}};
  const std::string& destination = arguments.files.back();
  std::filesystem::path folder = arguments.folder.empty() ? "." : arguments.folder;
  std::error_code failure;
  bool isFolder = std::filesystem::is_directory(folder / destination, failure);
  if (sources.files.size() > 1 && !isFolder) {
    return session.fail(hostError("\"" + destination + "\" is not a folder.",
                                  "Several files go into a folder that is there; \"qrbscm mkdir\" makes one."));
  }
  FileArguments targets{arguments.folder, {}};
  for (const std::string& source : sources.files) {
    targets.files.push_back(destinationOf(source, destination, isFolder));
  }
  auto found = findFiles(session, sources);
  if (!found) return session.fail(found.error());
  auto paths = pathsInWorkingCopy(targets.files, targets.folder, found->place.root);
  if (!paths) return session.fail(paths.error());
  qrb::Error error = session.perform(label, [&](Session::Done done) {
    return (found->place.workingCopy.get()->*request)(found->paths, *paths, done);
  });
  return error ? session.fail(error) : ExitStatus::success;
}

}  // namespace

OptionDeclaration& addFileArguments(CommandDeclaration& command, FileArguments& arguments, const char* description) {
  addDirectoryOption(command, arguments.folder);
  return command.argument("FILE", arguments.files, description).file("...");
}

qrb::Result<FoundFiles> findFiles(Session& session, const FileArguments& arguments) {
  auto place = findWorkingCopy(session, arguments.folder);
  if (!place) return place.error();
  auto paths = pathsInWorkingCopy(arguments.files, arguments.folder, place->root);
  if (!paths) return paths.error();
  return FoundFiles{*std::move(place), *std::move(paths)};
}

ExitStatus runFileRequest(Session& session, const FileArguments& arguments, const char* label, FileRequest request) {
  auto found = findFiles(session, arguments);
  if (!found) return session.fail(found.error());
  qrb::Error error = session.perform(
      label, [&](Session::Done done) { return (found->place.workingCopy.get()->*request)(found->paths, done); });
  return error ? session.fail(error) : ExitStatus::success;
}

Command::Run declareFileRequest(CommandDeclaration& command, const char* description, const char* label,
                                FileRequest request) {
  auto arguments = std::make_shared<FileArguments>();
  addFileArguments(command, *arguments, description).required();
  return [=](Session& session) { return runFileRequest(session, *arguments, label, request); };
}

Command::Run declareFilePairs(CommandDeclaration& command, const char* label, FilePairsRequest request) {
  auto arguments = std::make_shared<FileArguments>();
  addDirectoryOption(command, arguments->folder);
  command.argument("SOURCE", arguments->files, "One or more files, then where they go")
      .file("... DESTINATION")
      .required()
      .between(2, 1 << 20);
  return [=](Session& session) { return runFilePairs(session, *arguments, label, request); };
}

}  // namespace host
