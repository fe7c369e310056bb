#include "FileRequest.h"

namespace host {

namespace {

Command::Run declareResolve(CommandDeclaration& command) {
  return declareFileRequest(command, "Files whose conflict is over", "Marking as resolved",
                            &QRBSourceControlWorkingCopy::markAsResolvedFiles);
}

}  // namespace

extern const Command resolveCommand{"resolve", "Mark files as resolved whose conflict is over",
                                    "Their content stays as it is: edit it first.\n\n"
                                    "Examples:\n"
                                    "  qrbscm status            which files are in conflict\n"
                                    "  qrbscm resolve src/main.c\n",
                                    declareResolve, false};

}  // namespace host
