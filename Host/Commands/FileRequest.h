#pragma once

#include "Command.h"
#include "QRBSourceControlWorkingCopy.h"
#include "WorkingCopyFinder.h"

namespace host {

/// Files that the user names, and where from.
struct FileArguments {
  std::shared_ptr<std::string> folder;
  std::vector<std::string> files;
};

/// The working copy around the folder, and the paths of the files in it.
struct FoundFiles {
  FoundWorkingCopy place;
  QRBSourceControlWorkingCopy::Files paths;
  qrb::Error error;
};

/// Adds -C and the files, of which there must be one at least where that is required.
std::shared_ptr<FileArguments> addFileArguments(CLI::App& app, const char* description, bool required = true);
FoundFiles findFiles(Session& session, const FileArguments& arguments);

using FileRequest = QRBSourceControlCancellablePtr (QRBSourceControlWorkingCopy::*)(
    QRBSourceControlWorkingCopy::Files files, QRBSourceControlCompletionBlock<> completionBlock);

/// Runs a request that takes files and answers nothing.
ExitStatus runFileRequest(Session& session, const FileArguments& arguments, const char* label, FileRequest request);

/// The same with what two of them do: each file, and the path that it gets.
using FilePairsRequest = QRBSourceControlCancellablePtr (QRBSourceControlWorkingCopy::*)(
    QRBSourceControlWorkingCopy::Files files, QRBSourceControlWorkingCopy::Files toFilePaths,
    QRBSourceControlCompletionBlock<> completionBlock);

/// Declares a command of one or more sources and a destination, which is a folder where there are several.
Command::Run declareFilePairs(CLI::App& app, const char* label, FilePairsRequest request);

}  // namespace host
