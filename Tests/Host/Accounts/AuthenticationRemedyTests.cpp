// What the user is asked for when a server refuses, and what he is never offered.
#include "AuthenticationRemedy.h"

#include <gtest/gtest.h>

#include "QRBSourceControlBasicAuthenticationStrategy.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlSSHKeysAuthenticationStrategy.h"
#include "QRBSourceControlSystem.h"

namespace {

using host::AuthenticationRemedy;
using Remedy = AuthenticationRemedy;
using SSHKeys = QRBSourceControlSSHKeysAuthenticationStrategy;

const QRBSourceControlAuthenticationStrategyPtr kNobody =
    QRBSourceControlAuthenticationStrategy::sharedAnonymousStrategy();
const qrb::Error kRefused = QRBSourceControlError_AuthenticationCredentialsInvalid("refused");
const qrb::Error kUnknown = QRBSourceControlError_AuthenticationStrategyUnsupported();

qrb::Error certificateWith(const char* fingerprint) {
  qrb::Error error = QRBSourceControlError_AuthenticationSSLCertificateInvalid("self-signed");
  auto info = error.userInfo();
  info.set(QRBSourceControlSSHFingerprint, fingerprint);
  return {error.domain(), error.code(), std::move(info)};
}

QRBSourceControlSystemPtr systemOf(std::set<qrb::String> hints, std::uint64_t authenticationTypes) {
  return QRBSourceControlSystem::initWithName("Abacus", "plug-in", "1", nullptr, std::move(hints), true, true, false,
                                              false, false, authenticationTypes);
}

TEST(AuthenticationRemedy, IsWhatTheServerMayTake) {
  auto locked = SSHKeys::initWithUsername("ann", qrb::URL("file:///key"), nullptr);
  auto opened = SSHKeys::initWithUsername("ann", qrb::URL("file:///key"), "wrong");
  struct Case {
    const char* what;
    qrb::Error error;
    const char* url;
    QRBSourceControlAuthenticationStrategyPtr strategy;
    Remedy remedy;
    QRBSourceControlSystemPtr system = nullptr;
  };
  for (const Case& each : std::vector<Case>{
           {"nobody over https", kUnknown, "https://host/r", kNobody, Remedy::password},
           {"a wrong password", kRefused, "https://host/r",
            QRBSourceControlBasicAuthenticationStrategy::initWithUsername("ann", "wrong"), Remedy::password},
           {"in the clear to this machine", kUnknown, "http://localhost:80/r", kNobody, Remedy::password},
           {"in the clear to this machine, by number", kUnknown, "http://[::1]/r", kNobody, Remedy::password},
           {"in the clear to others", kUnknown, "http://host/r", kNobody, Remedy::none},
           {"in the clear to one with a name like it", kUnknown, "http://localhost.evil.org/r", kNobody, Remedy::none},
           {"in the clear to one with a number for a name", kUnknown, "http://127.0.0.1.evil.org/r", kNobody,
            Remedy::none},
           {"in the clear with a user like it", kUnknown, "http://localhost@evil.org/r", kNobody, Remedy::none},
           {"a file", kUnknown, "file:///r", kNobody, Remedy::none},
           {"git's own protocol, which knows no users", kUnknown, "git://host/r", kNobody, Remedy::none},
           {"a scheme that nobody claims", kUnknown, "abacus://host/r", kNobody, Remedy::none, systemOf({"git"}, 7)},
           {"a scheme of the system's", kUnknown, "abacus+tls://host/r", kNobody, Remedy::password,
            systemOf({"", "abacus"}, 7)},
           {"a scheme of a system without passwords", kUnknown, "abacus://host/r", kNobody, Remedy::none,
            systemOf({"abacus"}, 5)},
           {"in the clear to others, whoever claims it", kUnknown, "http://host/r", kNobody, Remedy::none,
            systemOf({"http"}, 7)},
           {"nobody over ssh", kUnknown, "ssh://host/r", kNobody, Remedy::key},
           {"nobody, scp form", kRefused, "git@host:r", kNobody, Remedy::key},
           {"a key without passphrase", kRefused, "git@host:r", locked, Remedy::passphrase},
           {"a key with a wrong passphrase", kRefused, "git@host:r", opened, Remedy::key},
           {"a key that is not there", QRBSourceControlError_AuthenticationSSHKeyNotFound(qrb::URL("file:///key")),
            "git@host:r", locked, Remedy::key},
           {"files that may not be read", QRBSourceControlError_AuthenticationPermissionDenied("mode 000"),
            "https://host/r", kNobody, Remedy::none},
           {"an unknown certificate", certificateWith("AB"), "https://host/r", kNobody, Remedy::trust},
           {"a certificate that was not seen", certificateWith(""), "https://host/r", kNobody, Remedy::none},
           {"an unknown key", QRBSourceControlError_AuthenticationSSHFingerprintInvalid("unknown", "SHA256:x"),
            "git@host:r", kNobody, Remedy::trust},
           {"a key that has changed",
            QRBSourceControlError_AuthenticationSSHFingerprintInvalid(
                "@ WARNING: REMOTE HOST IDENTIFICATION HAS CHANGED! @", "SHA256:x"),
            "git@host:r", kNobody, Remedy::none},
           {"somebody else's error of that number", qrb::Error("other", -1002), "https://host/r", kNobody,
            Remedy::none}}) {
    EXPECT_EQ(host::remedyFor(each.error, qrb::URL(each.url), each.strategy, each.system), each.remedy) << each.what;
  }
}

TEST(AuthenticationRemedy, WhoCannotBeAskedIsToldWhatToDoWhereSomethingCanBeDone) {
  EXPECT_NE(host::adviceFor(kUnknown).find("accounts add"), std::string::npos);
  EXPECT_NE(host::adviceFor(certificateWith("AB")).find("--fingerprint"), std::string::npos);
  EXPECT_EQ(host::adviceFor(QRBSourceControlError_Canceled()), "");
}

}  // namespace
