#include "FileRequest.h"

namespace host {

namespace {

Command::Run declareMove(CommandDeclaration& command) {
  return declareFilePairs(command, "Moving files", &QRBSourceControlWorkingCopy::moveFiles);
}

}  // namespace

extern const Command moveCommand{"mv", "Move or rename files",
                                 "Several files go into a folder, which must be there.\n\n"
                                 "Examples:\n"
                                 "  qrbscm mv apple.c pear.c\n"
                                 "  qrbscm mv one.c two.c src/\n",
                                 declareMove, false};

}  // namespace host
