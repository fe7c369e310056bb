#include <unistd.h>

#include "QRBSourceControlServiceProtocols.h"
#include "ServiceMainPrivate.h"
#include "WorkingCopyScanner.h"

int main() {
  namespace Protocol = QRBSourceControlWorkingCopyScannerProtocol;
  static constexpr qrb::Route<WorkingCopyScanner> routes[] = {
      qrb::route<WorkingCopyScanner, Protocol::scanFolderPaths, &WorkingCopyScanner::scanFolderPaths>(),
  };
  WorkingCopyScanner scanner;
  ::_exit(qrb::runHelperService(scanner, std::span<const qrb::Route<WorkingCopyScanner>>(routes), "scanner"));
}
