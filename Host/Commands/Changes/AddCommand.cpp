#include "FileRequest.h"

namespace host {

namespace {

Command::Run declareAdd(CommandDeclaration& command) {
  return declareFileRequest(command, "Files or folders to put under source control", "Adding files",
                            &QRBSourceControlWorkingCopy::addFiles);
}

}  // namespace

extern const Command addCommand{
    "add", "Put files under source control with the next commit",
    "A folder stands for everything in it. Where the system has a staging area, the present content is staged.\n\n"
    "Examples:\n"
    "  qrbscm add README.md src\n"
    "  qrbscm add -- -strangely-named-file\n"
    "  qrbscm add -C ~/orchard .\n",
    declareAdd, false};

}  // namespace host
