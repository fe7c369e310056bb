#pragma once

#include "Command.h"
#include "QRBSourceControlWorkingCopy.h"
#include "WorkingCopyFinder.h"

namespace host {

/// Files that the user names, and where from.
struct FileArguments {
  std::string folder;
  std::vector<std::string> files;
};

/// The working copy around the folder, and the paths of the files in it.
struct FoundFiles {
  FoundWorkingCopy place;
  QRBSourceControlWorkingCopy::Files paths;
};

/// Adds -C and the files, which it returns.
OptionDeclaration& addFileArguments(CommandDeclaration& command, FileArguments& arguments, const char* description);
qrb::Result<FoundFiles> findFiles(Session& session, const FileArguments& arguments);

using FileRequest = QRBSourceControlCancellablePtr (QRBSourceControlWorkingCopy::*)(
    QRBSourceControlWorkingCopy::Files files, QRBSourceControlCompletionBlock<> completionBlock);

/// Runs a request that takes files and answers nothing, or declares a command that does that and nothing else.
Command::Run declareFileRequest(CommandDeclaration& command, const char* description, const char* label,
                                FileRequest request);
ExitStatus runFileRequest(Session& session, const FileArguments& arguments, const char* label, FileRequest request);

/// Requests that take two lists: each file, and the path that it gets.
using FilePairsRequest = QRBSourceControlCancellablePtr (QRBSourceControlWorkingCopy::*)(
    QRBSourceControlWorkingCopy::Files files, QRBSourceControlWorkingCopy::Files toFilePaths,
    QRBSourceControlCompletionBlock<> completionBlock);

/// Declares a command of one or more sources and a destination, which is a folder where there are several.
Command::Run declareFilePairs(CommandDeclaration& command, const char* label, FilePairsRequest request);

}  // namespace host
