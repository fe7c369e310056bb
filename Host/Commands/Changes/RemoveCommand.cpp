#include "FileRequest.h"

namespace host {

namespace {

Command::Run declareRemove(CommandDeclaration& command) {
  return declareFileRequest(command, "Files or folders to take out of source control", "Removing files",
                            &QRBSourceControlWorkingCopy::removeFiles);
}

}  // namespace

extern const Command removeCommand{"rm", "Remove files, and take them out of source control with the next commit",
                                   "Examples:\n"
                                   "  qrbscm rm old.c\n"
                                   "  qrbscm rm -C ~/orchard docs tests/old\n",
                                   declareRemove, false};

}  // namespace host
