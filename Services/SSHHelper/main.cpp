#include <unistd.h>

#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlServiceProtocols.h"
#include "SSHHelper.h"
#include "SSHTools.h"
#include "ServiceMainPrivate.h"

int main(int argumentCount, char**) {
  if (auto status = answerAsPassphraseProgram(argumentCount)) return *status;
  namespace Protocol = QRBSourceControlSSHHelperProtocol;
  static constexpr qrb::Route<SSHHelper> routes[] = {
      qrb::route<SSHHelper, Protocol::validateSSHKeys, &SSHHelper::validateSSHKeys>(),
      qrb::route<SSHHelper, Protocol::generateSSHKeysWithComment, &SSHHelper::generateSSHKeysWithComment>(),
      qrb::route<SSHHelper, Protocol::generateSSHKeys, &SSHHelper::generateSSHKeys>(),
      qrb::route<SSHHelper, Protocol::defaultSSHKeyAuthenticationStrategyForURL,
                 &SSHHelper::defaultSSHKeyAuthenticationStrategyForURL>(),
      qrb::route<SSHHelper, Protocol::knownHosts, &SSHHelper::knownHosts>(),
      qrb::route<SSHHelper, Protocol::uploadPublicSSHKey, &SSHHelper::uploadPublicSSHKey>(),
      qrb::route<SSHHelper, Protocol::uploadPublicSSHKeyWithStrategy, &SSHHelper::uploadPublicSSHKeyWithStrategy>(),
  };
  SSHHelper helper;
  ::_exit(qrb::runHelperService(helper, std::span<const qrb::Route<SSHHelper>>(routes), "SSH helper"));
}
