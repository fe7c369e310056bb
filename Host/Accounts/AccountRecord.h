#pragma once

#include <string>
#include <tuple>

#include "AccountFile.h"
#include "QRBSourceControlForward.h"
#include "SecretStore.h"
#include "URL.h"

namespace host {

/// Beside the library's keys: whether the account is used, where it is not.
inline constexpr const char* kEnabledKey = "enabled";
/// Beside the library's keys: the fingerprint that the user trusts of the server.
inline constexpr const char* kFingerprintKey = "trustedServerFingerprint";

/// What tells two accounts apart: where, as whom, and by which kind of credentials.
using AccountIdentity = std::tuple<std::string, std::string, std::uint64_t>;

AccountIdentity identityOf(const QRBSourceControlAccountPtr& account);
AccountIdentity identityOf(const AccountFile::Record& record);

/// The account that a record describes, without password or passphrase; null where this version does not understand it.
QRBSourceControlAccountPtr accountFromRecord(const AccountFile::Record& record);
/// Sets in the record what belongs to the account, and leaves the rest. Never a secret, not even one in the URL.
void writeAccount(const QRBSourceControlAccountPtr& account, AccountFile::Record& record);

/// User name, and password or passphrase, of a strategy; empty where it has none.
std::string usernameOf(const QRBSourceControlAuthenticationStrategyPtr& strategy);
std::string secretOf(const QRBSourceControlAuthenticationStrategyPtr& strategy);
/// A strategy like this with another password or passphrase; the strategy itself where its kind has none.
QRBSourceControlAuthenticationStrategyPtr withSecret(const QRBSourceControlAuthenticationStrategyPtr& strategy,
                                                     const std::string& secret);
/// Where the account's secret is kept, for a user of that name.
SecretKey secretKeyOf(const QRBSourceControlAccountPtr& account, const std::string& username);

/// Refuses an address that holds a password, with that advice.
qrb::Error refusePassword(const qrb::URL& url, const std::string& advice);
/// Whether an account at one URL serves a repository at another: the same server, and the repository's path at or below
/// the account's. A user named by both must be the same.
bool serves(const qrb::URL& accountURL, const qrb::URL& repositoryURL);

}  // namespace host
