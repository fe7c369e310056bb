#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>

#include "ModelTesting.h"
#include "QRBSourceControlBasicAuthenticationStrategy.h"
#include "QRBSourceControlSSHKeysAuthenticationStrategy.h"
#include "TemporaryDirectory.h"
#include "ValuePrinters.h"

namespace {

using Anonymous = QRBSourceControlAuthenticationStrategy;
using Basic = QRBSourceControlBasicAuthenticationStrategy;
using SSHKeys = QRBSourceControlSSHKeysAuthenticationStrategy;
using StrategyPtr = QRBSourceControlAuthenticationStrategyPtr;
using qrb::String;
using qrb::URL;
using qrb::test::throughArchive;

URL kSSHKey = URL::fileURL("/home/a/.ssh/id_rsa");

TEST(Strategies, SurviveTheArchiveAndCopyAsEquals) {
  const StrategyPtr strategies[] = {
      Basic::init(),
      Basic::initWithUsername("u", nullptr),
      Basic::initWithURLDefinedUsername("u", "pässword"),
      Basic::initWithURLDefinedUsernameURLDefinedPassword("u", "p"),
      SSHKeys::init(),
      SSHKeys::initWithUsername(nullptr, kSSHKey, "phrase"),
      SSHKeys::initWithURLDefinedUsername("u", kSSHKey, nullptr),
  };
  for (const StrategyPtr& strategy : strategies) {
    SCOPED_TRACE(strategy->description());
    auto back = throughArchive(strategy);
    EXPECT_TRUE(strategy->isEqual(back));
    auto copy = strategy->copy();
    EXPECT_TRUE(strategy->isEqual(copy));
    EXPECT_NE(copy.get(), strategy.get());
    EXPECT_EQ(copy->hash(), strategy->hash());
    // Each differs from every other in something that counts.
    for (const StrategyPtr& other : strategies) EXPECT_EQ(strategy->isEqual(other), strategy == other);
  }
}

TEST(Strategies, KnowWhichURLsTheyCanServe) {
  struct Case {
    const char* url;
    bool overSSH;
  };
  const Case cases[] = {{"user@server:path", true},   {"server:path", true},       {"ssh://server/x", true},
                        {"svn+ssh://server/x", true}, {"https://server/x", false}, {"file:///ssh/x", false}};
  for (const Case& each : cases) {
    URL url{String(each.url)};
    StrategyPtr keys = SSHKeys::init();
    EXPECT_EQ(keys->isValidForURL(url), each.overSSH) << each.url;
    EXPECT_TRUE(StrategyPtr(Basic::init())->isValidForURL(url)) << each.url;
    EXPECT_TRUE(Anonymous::sharedAnonymousStrategy()->isValidForURL(url)) << each.url;
  }
}

class KeyFiles : public testing::Test {
 protected:
  // Every file below the folder.
  std::size_t fileCount() const {
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(directory.path())) {
      if (!entry.is_directory()) ++count;
    }
    return count;
  }

  qrb::test::TemporaryDirectory directory;
};

TEST_F(KeyFiles, AreNotLeftHalfWritten) {
  // A limit that the public key keeps and the private key breaks: the second write fails, as on a full disk.
  rlimit before;
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
  auto previous = std::signal(SIGXFSZ, SIG_IGN);
  rlimit small{16, before.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
  auto keys = SSHKeys::initWithUsernamePublicKeyData("u", "public", std::string(1000, 'x'), "phrase",
                                                     URL::fileURL(directory.string()));
  ::setrlimit(RLIMIT_FSIZE, &before);
  std::signal(SIGXFSZ, previous);
  EXPECT_FALSE(keys->privateKeyFile());
  EXPECT_EQ(keys->username(), "u");
  EXPECT_EQ(keys->privateKeyPassword(), "phrase");
  EXPECT_EQ(fileCount(), 0u);
}

class DefaultKeys : public KeyFiles {
 protected:
  void SetUp() override {
    if (const char* home = std::getenv("HOME")) _home = home;
    ::setenv("HOME", directory.string().c_str(), 1);
    std::filesystem::create_directory(directory.path() / ".ssh");
  }
  void TearDown() override {
    if (_home) {
      ::setenv("HOME", _home->c_str(), 1);
    } else {
      ::unsetenv("HOME");
    }
  }
  void makeKey(const char* name) { std::ofstream(directory.path() / ".ssh" / name) << "key"; }
  String defaultKeyName() {
    auto keys = SSHKeys::defaultSSHKeyAuthenticationStrategyWithUsername("u", "phrase");
    return keys == nullptr ? String() : keys->privateKeyFile().lastPathComponent();
  }

 private:
  std::optional<std::string> _home;
};

TEST_F(DefaultKeys, AreTheFirstKindThatIsThere) {
  EXPECT_EQ(SSHKeys::defaultSSHKeyFolder(), URL::fileURL(directory.string() + "/.ssh", true));
  EXPECT_EQ(defaultKeyName(), String());
  makeKey("id_ed25519");
  EXPECT_EQ(defaultKeyName(), String());
  for (const char* name : {"id_dsa", "id_ecdsa", "id_rsa"}) {
    makeKey(name);
    EXPECT_EQ(defaultKeyName(), name);
  }
  auto keys = SSHKeys::defaultSSHKeyAuthenticationStrategy();
  EXPECT_EQ(keys->username(), "");
  EXPECT_EQ(keys->privateKeyPassword(), "");
}

TEST(Passphrases, AreLongFreshAndOfTheWholeAlphabet) {
  std::set<std::string> seen;
  std::set<char> letters;
  for (int count = 0; count < 300; ++count) {
    std::string phrase = QRBSourceControlSSHGenerateRandomPassphrase().str();
    EXPECT_GE(phrase.size(), 200u);
    EXPECT_LE(phrase.size(), 799u);
    letters.insert(phrase.begin(), phrase.end());
    seen.insert(phrase);
  }
  EXPECT_EQ(seen.size(), 300u);
  // All printable ASCII but the brackets and braces: with some 150,000 draws a missing letter is no accident.
  std::set<char> alphabet;
  for (char letter = ' '; letter <= '~'; ++letter) alphabet.insert(letter);
  for (char letter : {'[', ']', '{', '}'}) alphabet.erase(letter);
  EXPECT_EQ(letters, alphabet);
}

}  // namespace
