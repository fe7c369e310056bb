#include <algorithm>
#include <filesystem>

#include "Command.h"
#include "ErrorPrinting.h"
#include "HostError.h"
#include "ProgramAccounts.h"
#include "QRBSourceControlAccount.h"
#include "QRBSourceControlBasicAuthenticationStrategy.h"
#include "QRBSourceControlCancellable.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlSSHKeysAuthenticationStrategy.h"
#include "QRBSourceControlSystem.h"
#include "QRBSourceControlURL.h"
#include "RemoteFinder.h"
#include "Secrecy.h"
#include "Systems.h"
#include "TerminalSecret.h"
#include "Text.h"

namespace host {

namespace {

using Basic = QRBSourceControlBasicAuthenticationStrategy;
using SSHKeys = QRBSourceControlSSHKeysAuthenticationStrategy;
using Accounts = std::vector<QRBSourceControlAccountPtr>;

struct AccountsOptions {
  std::string name;
  std::string url;
  std::string user;
  std::string key;
  std::string fingerprint;
  std::string system;
  bool passwordFromInput = false;
};

const char* kindOf(const QRBSourceControlAccountPtr& account) {
  switch (account->authenticationStrategy()->type()) {
    case QRBSourceControlAuthenticationTypeBasic:
      return "password";
    case QRBSourceControlAuthenticationTypeSSHKeys:
      return "sshKey";
    default:
      return "anonymous";
  }
}

std::string keyFileOf(const QRBSourceControlAccountPtr& account) {
  auto keys = std::dynamic_pointer_cast<const SSHKeys>(account->authenticationStrategy());
  return keys == nullptr ? std::string() : keys->privateKeyFile().path().str();
}

// List

void printJSON(Output& output, const Accounts& accounts) {
  JSONArray array(output);
  for (const QRBSourceControlAccountPtr& account : accounts) {
    JSONValue entry;
    entry["name"] = account->accountName().view();
    entry["url"] = account->hostURL().withoutPassword().absoluteString().view();
    entry["authentication"] = kindOf(account);
    if (std::string user = usernameOf(account->authenticationStrategy()); !user.empty()) entry["username"] = user;
    if (std::string file = keyFileOf(account); !file.empty()) setPath(entry, "keyFile", file);
    entry["enabled"] = account->enabled();
    array.add(entry);
  }
  array.finish();
}

void printPlain(Output& output, const Accounts& accounts) {
  for (const QRBSourceControlAccountPtr& account : accounts) {
    output.write(Style::bold, displayText(account->accountName().view()));
    output.write("  " + displayText(account->hostURL().withoutPassword().absoluteString().view()));
    std::string user = usernameOf(account->authenticationStrategy());
    output.write(Style::dim, std::string("  ") + kindOf(account));
    if (!user.empty()) output.write("  " + displayText(user));
    if (std::string file = keyFileOf(account); !file.empty()) output.write("  " + displayPath(file));
    if (!account->enabled()) output.write(Style::yellow, "  (disabled)");
    output.write("\n");
  }
}

ExitStatus runList(Session& session, const AccountsOptions&) {
  session.endUnread();
  auto accounts = accountManager()->list();
  if (!accounts) return session.fail(accounts.error());
  if (session.json()) {
    printJSON(session.output(), *accounts);
  } else {
    printPlain(session.output(), *accounts);
  }
  return ExitStatus::success;
}

// Add

QRBSourceControlAuthenticationStrategyPtr strategyOf(const AccountsOptions& options, const std::string& user,
                                                     const std::string& secret) {
  if (!options.key.empty()) {
    std::string path = std::filesystem::absolute(options.key).lexically_normal().native();
    return SSHKeys::initWithUsername(user, qrb::URL::fileURL(path), secret);
  }
  if (!user.empty()) return Basic::initWithUsername(user, secret);
  return QRBSourceControlAuthenticationStrategy::sharedAnonymousStrategy();
}

qrb::Error refusalOf(const AccountsOptions& options, const qrb::URL& url) {
  if (qrb::Error error = refusePassword(url, "Leave it out, and give it when asked or with --password-stdin.")) {
    return error;
  }
  if (!qrbscm_isValid(url)) {
    return QRBSourceControlError_InvalidURL(url, options.name,
                                            "an address like https://host/path or user@host:path is");
  }
  if (!options.key.empty() && !SSHKeys::strategyIsValidForURL(url)) {
    return hostError("A key is of no use at this address.",
                     "Keys are for addresses over SSH: ssh://… or user@host:path.");
  }
  std::error_code failure;
  if (!options.key.empty() && !std::filesystem::is_regular_file(options.key, failure)) {
    return QRBSourceControlError_AuthenticationSSHKeyNotFound(qrb::URL::fileURL(options.key));
  }
  return {};
}

// Asked only where the answer can be kept.
qrb::Error obtainSecret(Session& session, AccountManager& manager, const AccountsOptions& options,
                        const std::string& user, std::string& secret) {
  bool hasSecret = !options.key.empty() || !user.empty();
  if (options.passwordFromInput && !hasSecret) {
    return hostError("A password without a user is of no use.", "Name the user with --user.");
  }
  if (options.passwordFromInput && !manager.keepsSecrets()) {
    return hostError("There is no secret service that would keep the password.",
                     "Leave out --password-stdin; the password is asked for when it is needed.");
  }
  if (options.passwordFromInput) return readSecretFromInput(secret);
  if (!hasSecret) return {};
  if (!manager.keepsSecrets() || !canAskForSecret()) {
    session.note("No password is kept with this account; it is asked for when it is needed.");
    return {};
  }
  std::string what = options.key.empty() ? "Password of " + user : "Passphrase of " + options.key;
  return askForSecret(displayText(what) + " (empty to keep none): ", secret);
}

ExitStatus runAdd(Session& session, const AccountsOptions& options) {
  qrb::URL url(options.url);
  if (qrb::Error error = refusalOf(options, url)) return session.fail(error);
  std::string user = options.user.empty() ? qrbscm_user(url).str() : options.user;
  const auto& manager = accountManager();
  // Whether the list can be used is known before anything is asked.
  if (auto accounts = manager->list(); !accounts) return session.fail(accounts.error());
  std::string secret;
  qrb::WipeAtEnd wiping(secret);
  if (qrb::Error error = obtainSecret(session, *manager, options, user, secret)) return session.fail(error);
  auto account = QRBSourceControlAccount::initWithName(options.name, url, strategyOf(options, user, secret));
  qrb::String fingerprint = options.fingerprint.empty() ? qrb::String() : qrb::String(options.fingerprint);
  if (qrb::Error error = manager->save(account, fingerprint)) return session.fail(error);
  return ExitStatus::success;
}

// Remove and test

qrb::Result<QRBSourceControlAccountPtr> findNamed(AccountManager& manager, const std::string& name) {
  auto accounts = manager.list();
  if (!accounts) return accounts.error();
  auto isNamed = [&](const QRBSourceControlAccountPtr& each) { return each->accountName().view() == name; };
  auto found = std::find_if(accounts->begin(), accounts->end(), isNamed);
  if (found == accounts->end()) {
    return hostError("There is no account named \"" + name + "\".", "\"qrbscm accounts list\" shows which there are.",
                     ENOENT);
  }
  if (std::count_if(accounts->begin(), accounts->end(), isNamed) > 1) {
    return hostError("Several accounts are named \"" + name + "\".", "Give them names of their own in the file.");
  }
  return *found;
}

ExitStatus runRemove(Session& session, const AccountsOptions& options) {
  const auto& manager = accountManager();
  auto account = findNamed(*manager, options.name);
  if (!account) return session.fail(account.error());
  if (qrb::Error error = manager->remove(*account)) return session.fail(error);
  return ExitStatus::success;
}

// What to try: the secret given, the one kept, or the one that the user types.
qrb::Result<QRBSourceControlAuthenticationStrategyPtr> strategyToTest(AccountManager& manager,
                                                                      const QRBSourceControlAccountPtr& account,
                                                                      const AccountsOptions& options) {
  std::string secret;
  qrb::WipeAtEnd wiping(secret);
  if (options.passwordFromInput) {
    if (qrb::Error error = readSecretFromInput(secret)) return error;
    return withSecret(account->authenticationStrategy(), secret);
  }
  auto strategy = manager.strategyWithSecret(account);
  if (!strategy) return strategy;
  // A key may have no passphrase; whether it has one shows when it is tried.
  if ((*strategy)->type() != QRBSourceControlAuthenticationTypeBasic || !secretOf(*strategy).empty()) return strategy;
  std::string prompt =
      "Password of " + usernameOf(*strategy) + " at " + account->hostURL().withoutPassword().absoluteString().str();
  if (qrb::Error refusal = askForSecret(displayText(prompt) + ": ", secret)) return refusal;
  return withSecret(*strategy, secret);
}

// Where to try it: at the repository given, which the account must be for, else at the account's own address.
qrb::Result<qrb::URL> placeToTest(const QRBSourceControlAccountPtr& account, const AccountsOptions& options) {
  if (options.url.empty()) return account->hostURL();
  auto place = readAddress(options.url, {});
  if (!place || serves(account->hostURL(), *place)) return place;
  return hostError("The account \"" + options.name + "\" is not for " + options.url + ".",
                   "Name a repository below " + account->hostURL().withoutPassword().absoluteString().str() + ".");
}

ExitStatus runTest(Session& session, const AccountsOptions& options) {
  const auto& manager = accountManager();
  auto found = findNamed(*manager, options.name);
  if (!found) return session.fail(found.error());
  const QRBSourceControlAccountPtr& account = *found;
  auto place = placeToTest(account, options);
  if (!place) return session.fail(place.error());
  auto strategy = strategyToTest(*manager, account, options);
  if (!strategy) return session.fail(strategy.error());
  auto system = findSystemFor(session, *place, options.system);
  if (!system) return session.fail(system.error());
  // Another account like it, so that nothing that was typed is kept.
  auto tried = QRBSourceControlAccount::initWithName(account->accountName(), *place, *strategy);
  auto repository = QRBSourceControlRemoteRepository::initWithURLUnsavedAccount(*place, *system, tried);
  if (qrb::String fingerprint = manager->existingFingerprintForRepository(repository)) {
    repository->setTrustedServerFingerprint(fingerprint);
  }
  qrb::Error error = session.perform("Asking the server", [&](Session::Done done) {
    return repository->validateAuthenticationForLocation(nullptr, nullptr, done);
  });
  if (error) {
    session.fail(error);
    bool isNowhere = error.domain().view() == QRBSourceControlErrorDomain &&
                     error.code() == static_cast<int>(QRBSourceControlErrorCode::remoteRepositoryNotFound);
    if (isNowhere && options.url.empty()) {
      session.note("If that is the address of a server, name a repository there: \"qrbscm accounts test " +
                   displayText(options.name) + " URL\".");
    }
    return ExitStatus::failed;
  }
  session.output().write(displayText(options.name) + ": the server accepts the account\n");
  return ExitStatus::success;
}

// The command line

Command::Run declareAccounts(CommandDeclaration& command) {
  auto options = std::make_shared<AccountsOptions>();
  auto nameArgument = [&](CommandDeclaration& action) {
    action.argument("NAME", options->name, "What the account is called").required();
  };
  auto passwordFlag = [&](CommandDeclaration& action) {
    action.flag("--password-stdin", options->passwordFromInput,
                "Read the password or passphrase from the first line of standard input");
  };
  command.action("list", "List the accounts", with(options, runList));
  auto& adding = command.action("add", "Save an account: anonymous, with a user name and password, or with a key",
                                with(options, runAdd));
  nameArgument(adding);
  adding.argument("URL", options->url, "The server, or one repository there").required();
  adding.option("--user", options->user, "Log in as that user (default: the one in the URL)").text("NAME");
  adding.option("--key", options->key, "Log in with that private SSH key").file("FILE");
  adding.option("--fingerprint", options->fingerprint, "Trust the server with that certificate fingerprint")
      .text("TEXT");
  passwordFlag(adding);
  nameArgument(command.action("remove", "Forget an account and its password", with(options, runRemove)));
  auto& testing = command.action("test", "Ask the server whether it accepts an account", with(options, runTest));
  nameArgument(testing);
  testing.argument("URL", options->url, "A repository there (default: the account's address)");
  testing.option("--system", options->system, "Of that system (default: as the address suggests, else git)")
      .text("NAME");
  passwordFlag(testing);
  return nullptr;
}

}  // namespace

extern const Command accountsCommand{
    "accounts", "Keep accounts on servers: list, add, remove and test them",
    "The list is kept in $XDG_CONFIG_HOME/qrbscm/accounts.json and holds no password. Passwords and passphrases go to\n"
    "the secret service of the session; where none runs they are asked for on the terminal when they are needed.\n\n"
    "Examples:\n"
    "  qrbscm accounts add orchard https://example.org/ --user ann\n"
    "  qrbscm accounts add fruit git@example.org:fruit.git --key ~/.ssh/id_ed25519\n"
    "  qrbscm accounts test orchard\n"
    "  qrbscm accounts test orchard https://example.org/orchard.git\n"
    "  qrbscm accounts list --json\n",
    declareAccounts};

}  // namespace host
