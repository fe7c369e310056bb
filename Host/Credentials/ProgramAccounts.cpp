#include "ProgramAccounts.h"

#include "ErrorPrinting.h"

namespace host {

const std::shared_ptr<AccountManager>& accountManager() {
  // Never destroyed: a callback of a cancelled request may ask for it while the program ends.
  static const auto& manager = *new std::shared_ptr<AccountManager>(std::make_shared<AccountManager>(
      AccountFile::defaultPath(), sessionSecretStore, [](const qrb::Error& error) { printError(error); }));
  return manager;
}

}  // namespace host
