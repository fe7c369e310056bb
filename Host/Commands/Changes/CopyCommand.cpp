#include "FileRequest.h"

namespace host {

namespace {

Command::Run declareCopy(CommandDeclaration& command) {
  return declareFilePairs(command, "Copying files", &QRBSourceControlWorkingCopy::copyFiles);
}

}  // namespace

extern const Command copyCommand{"cp", "Copy files, with their history where the system keeps one of copies",
                                 "Several files go into a folder, which must be there. Nothing is overwritten.\n\n"
                                 "Examples:\n"
                                 "  qrbscm cp apple.c pear.c\n"
                                 "  qrbscm cp one.c two.c src/\n",
                                 declareCopy, false};

}  // namespace host
