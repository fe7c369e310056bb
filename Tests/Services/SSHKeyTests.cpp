#include <gmock/gmock.h>
#include <sys/stat.h>

#include "QRBSourceControlAccount.h"
#include "QRBSourceControlSSHKeysAuthenticationStrategy.h"
#include "RunProgram.h"
#include "ServiceTesting.h"

namespace qrb::test {
namespace {

using Strategy = QRBSourceControlSSHKeysAuthenticationStrategy;
using StrategyOutcome = Outcome<QRBSourceControlSSHKeysAuthenticationStrategyPtr>;
using testing::HasSubstr;
using testing::Not;

class SSHKeyTest : public ServiceTest {
 protected:
  std::string keys() const { return home() + "/keys"; }

  static ProgramResult run(const std::vector<std::string>& arguments) {
    return runProgram(arguments, {"PATH=/usr/bin:/bin", "LC_ALL=C"}, "/");
  }
  /// The public key that the private one opens to with that passphrase, which only a test may put in an argument.
  static std::string publicKeyOf(const std::string& privateKey, const std::string& passphrase) {
    ProgramResult result = run({"ssh-keygen", "-y", "-P", passphrase, "-f", privateKey});
    EXPECT_EQ(result.status, 0) << result.output;
    return result.output.substr(0, result.output.find_last_not_of('\n') + 1);
  }
  void makeKey(const std::string& path, const std::string& passphrase = "") {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    ASSERT_EQ(run({"ssh-keygen", "-q", "-t", "ed25519", "-N", passphrase, "-C", "test", "-f", path}).status, 0);
  }

  static auto generate(const String& passphrase, const String& comment, const std::string& folder) {
    auto outcome = StrategyOutcome::make();
    manager()->generateSSHKeysWithPassphrase(passphrase, comment, URL::fileURL(folder, true), outcome->completion());
    return outcome->wait();
  }
  static std::int64_t validate(const std::string& key) {
    auto outcome = Outcome<>::make();
    Strategy::validateSSHKeysWithPrivateKeyURL(URL::fileURL(key), outcome->completion());
    return outcome->error().code();
  }
  static mode_t permissionsOf(const std::string& path) {
    struct stat info {};
    EXPECT_EQ(::stat(path.c_str(), &info), 0) << path;
    return info.st_mode & 07777;
  }
  static std::vector<std::string> namesIn(const std::string& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
  }
};

TEST_F(SSHKeyTest, AGeneratedKeyOpensWithItsPassphraseAndNoOther) {
  for (const char* passphrase : {" '\"$(x)`\\%* ein schöner Schlüssel ", ""}) {
    std::string folder = keys() + "/" + std::to_string(std::hash<std::string>()(passphrase));
    auto [strategy, error] = generate(passphrase, "me@work", folder);
    ASSERT_FALSE(error) << error.description();
    std::string privateKey = strategy->privateKeyFile().path().str();
    EXPECT_EQ(std::filesystem::path(privateKey).parent_path(), folder);
    EXPECT_EQ(strategy->privateKeyPassword().str(), passphrase);
    EXPECT_EQ(publicKeyOf(privateKey, passphrase) + "\n", textOf(privateKey + ".pub"));
    EXPECT_THAT(textOf(privateKey + ".pub"), HasSubstr(" me@work\n"));
    EXPECT_NE(run({"ssh-keygen", "-y", "-P", "another passphrase", "-f", privateKey}).status == 0, *passphrase != '\0');
    EXPECT_EQ(permissionsOf(privateKey), 0600u);
    EXPECT_EQ(permissionsOf(privateKey + ".pub"), 0600u);
    EXPECT_EQ(namesIn(folder).size(), 2u) << "something was left beside the keys";
    EXPECT_EQ(validate(privateKey), 0);
  }
}

// A program in front of ssh-keygen that writes down how it was called, and calls it.
TEST_F(SSHKeyTest, ThePassphraseIsInNoArgumentEnvironmentOrFile) {
  std::string record = home() + "/record";
  std::string tools = home() + "/tools";
  std::filesystem::create_directories(tools);
  std::ofstream(tools + "/ssh-keygen") << "#!/bin/sh\ncat /proc/$$/cmdline /proc/$$/environ >>'" << record
                                       << "'\nexec /usr/bin/ssh-keygen \"$@\"\n";
  std::filesystem::permissions(tools + "/ssh-keygen", std::filesystem::perms::owner_all);
  std::string path = ::getenv("PATH");
  ::setenv("PATH", (tools + ":" + path).c_str(), 1);
  std::string passphrase = "a-passphrase-to-look-for";
  auto [strategy, error] = generate(passphrase, nullptr, keys());
  ::setenv("PATH", path.c_str(), 1);
  ASSERT_FALSE(error) << error.description();
  std::string called = textOf(record);
  EXPECT_THAT(called, HasSubstr("SSH_ASKPASS_REQUIRE=force"));
  EXPECT_THAT(called, Not(HasSubstr(passphrase)));
  for (const std::string& name : namesIn(keys())) EXPECT_THAT(textOf(keys() + "/" + name), Not(HasSubstr(passphrase)));
  publicKeyOf(strategy->privateKeyFile().path().str(), passphrase);
}

TEST_F(SSHKeyTest, AKeyThatIsThereIsNeverOverwritten) {
  for (const char* name : {"id_rsa", "id_rsa.pub"}) {
    std::string folder = keys() + "/" + name + ".d";
    std::filesystem::create_directories(folder);
    std::ofstream(folder + "/" + name) << "precious";
    auto [strategy, error] = generate("passphrase", nullptr, folder);
    EXPECT_EQ(strategy, nullptr);
    EXPECT_EQ(error.code(), EEXIST) << error.description();
    EXPECT_EQ(textOf(folder + "/" + name), "precious");
    EXPECT_THAT(namesIn(folder), testing::ElementsAre(name));
  }
}

TEST_F(SSHKeyTest, WhatWouldReachSSHChangedIsRefused) {
  for (const auto& [passphrase, comment] :
       std::vector<std::pair<std::string, std::string>>{{"two\nlines", ""},
                                                        {std::string("cut\0here", 8), ""},
                                                        {std::string(1024, 'x'), ""},
                                                        {"x", "one\nssh-rsa AAAA"}}) {
    auto [strategy, error] = generate(passphrase, comment, keys());
    EXPECT_EQ(strategy, nullptr);
    EXPECT_EQ(error.code(), EINVAL);
    EXPECT_FALSE(std::filesystem::exists(keys() + "/id_rsa"));
  }
  auto [strategy, error] = generate("x", nullptr, "/proc/no folder for keys");
  EXPECT_EQ(strategy, nullptr);
  EXPECT_TRUE(error);
}

TEST_F(SSHKeyTest, ValidationTellsWhatIsWrongWithAPair) {
  std::string key = keys() + "/id";
  makeKey(key);
  EXPECT_EQ(validate(key), 0);
  EXPECT_EQ(validate(keys() + "/missing"), -1031);
  EXPECT_EQ(validate(keys()), -1031) << "a folder";
  std::filesystem::permissions(key, static_cast<std::filesystem::perms>(0640));
  EXPECT_EQ(validate(key), -1032);
  std::filesystem::permissions(key, static_cast<std::filesystem::perms>(0600));

  makeKey(keys() + "/protected", "passphrase");
  EXPECT_EQ(validate(keys() + "/protected"), 0);

  makeKey(keys() + "/other");
  std::filesystem::copy_file(keys() + "/other.pub", key + ".pub", std::filesystem::copy_options::overwrite_existing);
  EXPECT_EQ(validate(key), -1033) << "the public key of another pair";
  std::ofstream(key + ".pub") << "no key";
  EXPECT_EQ(validate(key), -1033);
  std::filesystem::remove(key + ".pub");
  EXPECT_EQ(validate(key), -1033);

  std::string text = textOf(keys() + "/other");
  std::ofstream(keys() + "/other") << text.substr(0, text.size() / 2);
  EXPECT_EQ(validate(keys() + "/other"), -1030) << "cut in the middle";
  std::ofstream(keys() + "/other", std::ios::trunc) << "no key";
  EXPECT_EQ(validate(keys() + "/other"), -1030);
}

TEST_F(SSHKeyTest, TheDefaultKeyIsTheOneThatSSHWouldOffer) {
  auto ask = [](const char* url) {
    auto outcome = StrategyOutcome::make();
    Strategy::defaultSSHKeyAuthenticationStrategyForURL(URL(url), outcome->completion());
    return outcome->wait();
  };
  EXPECT_EQ(std::get<1>(ask("ssh://git@example.org/x")).code(), -1031) << "no key at all";
  EXPECT_EQ(std::get<1>(ask("https://example.org/x")).code(), -1001);
  makeKey(home() + "/.ssh/id_ed25519");
  makeKey(home() + "/.ssh/work key");
  std::ofstream(home() + "/.ssh/config")
      << "Host work.example.org\n  User worker\n  IdentityFile \"~/.ssh/work key\"\n";
  auto [plain, plainError] = ask("git@example.org:x.git");
  ASSERT_NE(plain, nullptr) << plainError.description();
  EXPECT_EQ(plain->privateKeyFile().path().str(), home() + "/.ssh/id_ed25519");
  EXPECT_EQ(plain->username().str(), "git");
  EXPECT_TRUE(plain->usernameDefinedFromURL());
  auto [configured, configuredError] = ask("ssh://work.example.org/x");
  ASSERT_NE(configured, nullptr) << configuredError.description();
  EXPECT_EQ(configured->privateKeyFile().path().str(), home() + "/.ssh/work key");
  EXPECT_EQ(configured->username().str(), "worker");
  EXPECT_FALSE(configured->usernameDefinedFromURL());
}

TEST_F(SSHKeyTest, TheKnownHostsAreThoseOfTheUsersFile) {
  auto ask = [] {
    auto outcome = Outcome<Dictionary>::make();
    QRBSourceControlAccount::knownSSHHostsAndFingerprintsWithCompletionBlock(outcome->completion());
    return outcome->wait();
  };
  EXPECT_EQ(std::get<0>(ask()), Dictionary::object());
  makeKey(home() + "/.ssh/host");
  std::ofstream(home() + "/.ssh/known_hosts") << "example.org " << textOf(home() + "/.ssh/host.pub");
  ASSERT_EQ(run({"ssh-keygen", "-H", "-f", home() + "/.ssh/known_hosts"}).status, 0);
  std::ofstream(home() + "/.ssh/known_hosts", std::ios::app) << "example.net " << textOf(home() + "/.ssh/host.pub");
  auto [hosts, error] = ask();
  ASSERT_FALSE(error) << error.description();
  EXPECT_EQ(hosts.size(), 2u) << hosts;
  std::string shown = run({"ssh-keygen", "-l", "-f", home() + "/.ssh/host.pub"}).output;
  for (const auto& [host, fingerprints] : hosts.entries()) {
    EXPECT_TRUE(host == "example.net" || host.starts_with("|1|")) << host;
    ASSERT_EQ(fingerprints.size(), 1u);
    EXPECT_THAT(shown, HasSubstr(fingerprints.elements()[0].string()));
  }
}

}  // namespace
}  // namespace qrb::test
