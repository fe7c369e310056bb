#include <gtest/gtest.h>

#include "AskpassProtocol.h"
#include "CredentialAnswers.h"
#include "QRBSourceControlBasicAuthenticationStrategy.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlSSHKeysAuthenticationStrategy.h"
#include "RunProgram.h"
#include "SSHCommand.h"
#include "TemporaryDirectory.h"

namespace qrb {
namespace {

using Kind = RemoteAccess::Kind;
using Basic = QRBSourceControlBasicAuthenticationStrategy;
using Keys = QRBSourceControlSSHKeysAuthenticationStrategy;

RemoteAccess accessOf(const std::string& url, const QRBSourceControlAuthenticationStrategyPtr& strategy = nullptr) {
  return RemoteAccess::of(*QRBSourceControlRemoteRepository::initWithURLUnsavedAuthenticationStrategy(
      URL(url), nullptr, strategy ? strategy : QRBSourceControlAuthenticationStrategy::sharedAnonymousStrategy()));
}

TEST(RemoteAccess, takesWhatTheStrategySaysAndElseWhatTheAddressDoes) {
  const struct {
    const char* url;
    QRBSourceControlAuthenticationStrategyPtr strategy;
    Kind kind;
    const char* text;
    const char* user;
    const char* secret;
  } cases[] = {
      {"https://a:b@h/x", nullptr, Kind::password, "https://a@h/x", "a", "b"},
      {"https://h/x", Basic::initWithUsername("u", "p"), Kind::password, "https://h/x", "u", "p"},
      {"https://a.b:c@h/x", Basic::initWithUsername("u@v", "p"), Kind::password, "https://u%40v@h/x", "u@v", "p"},
      {"https://h/x", Basic::initWithUsername("u", ""), Kind::none, "https://h/x", "u", ""},
      {"https://a:b!@h/x", Basic::initWithUsername("u", ""), Kind::none, "https://u@h/x", "u", ""},
      {"https://a:b@h/x", Basic::initWithUsername("a", ""), Kind::password, "https://a@h/x", "a", "b"},
      {"https://h", nullptr, Kind::none, "https://h/", "", ""},
      {"https://a@h/x", Basic::initWithUsername("", "p"), Kind::password, "https://a@h/x", "a", "p"},
      {"https://a%40b@h/x", Basic::initWithUsername("", "p"), Kind::password, "https://a%40b@h/x", "a@b", "p"},
      {"ssh://h/x", Keys::initWithUsername("u", URL::fileURL("/k"), "p"), Kind::key, "ssh://h/x", "u", "p"},
      {"ssh://a.b@h/x", Keys::initWithUsername("u", URL::fileURL("/k"), "p"), Kind::key, "ssh://u@h/x", "u", "p"},
      {"a@h:x", Keys::initWithUsername("", URL::fileURL("/k"), "p"), Kind::key, "a@h:x", "a", "p"},
      {"a@h:x", nullptr, Kind::none, "a@h:x", "a", ""},
      {"file:///x", nullptr, Kind::none, "file:///x", "", ""},
  };
  for (const auto& each : cases) {
    RemoteAccess access = accessOf(each.url, each.strategy);
    EXPECT_EQ(access.kind, each.kind) << each.url;
    EXPECT_EQ(access.text, each.text) << each.url;
    EXPECT_EQ(access.user, each.user) << each.url;
    EXPECT_EQ(access.secret.view(), each.secret) << each.url;
  }
}

TEST(RemoteAddress, takesAddressesApartAsTheToolsDo) {
  const struct {
    const char* text;
    const char* scheme;
    std::optional<std::string> user;
    std::optional<std::string> password;
    const char* host;
    const char* port;
    const char* path;
  } cases[] = {
      {"HTTPS://Host/a b", "https", std::nullopt, std::nullopt, "host", "443", "/a b"},
      {"https://a%40b:c:d%2F@h:1/x", "https", "a@b", "c:d/", "h", "1", "/x"},
      {"https://a@b@h/x", "https", "a@b", std::nullopt, "h", "443", "/x"},
      {"https://h?@evil/x", "https", std::nullopt, std::nullopt, "h", "443", "?@evil/x"},
      {"https://h#@evil/x", "https", std::nullopt, std::nullopt, "h", "443", "#@evil/x"},
      {"ssh://u@[::1]:22/x", "ssh", "u", std::nullopt, "[::1]", "22", "/x"},
      {"u@[::1]:x", "ssh", "u", std::nullopt, "[::1]", "22", "x"},
      {"h:x/y", "ssh", std::nullopt, std::nullopt, "h", "22", "x/y"},
      {"/a:b", "file", std::nullopt, std::nullopt, "", "", "/a:b"},
      {"a/b:c", "file", std::nullopt, std::nullopt, "", "", "a/b:c"},
      {"file:///a%20b", "file", std::nullopt, std::nullopt, "", "", "/a b"},
      {"https://", "https", std::nullopt, std::nullopt, "", "443", ""},
  };
  for (const auto& each : cases) {
    RemoteAddress address = RemoteAddress::parse(each.text);
    EXPECT_EQ(address.scheme, each.scheme) << each.text;
    EXPECT_EQ(address.user, each.user) << each.text;
    EXPECT_EQ(address.password, each.password) << each.text;
    EXPECT_EQ(address.host, each.host) << each.text;
    EXPECT_EQ(address.port, each.port) << each.text;
    EXPECT_EQ(address.path, each.path) << each.text;
    EXPECT_FALSE(RemoteAddress::parse(addressWithoutPassword(each.text)).password) << each.text;
  }
}

TEST(RemoteAddress, secretsAreForTheSameServerOnly) {
  auto mayShare = [](const char* mine, const char* other) {
    return RemoteAddress::parse(mine).mayShareSecretsWith(RemoteAddress::parse(other));
  };
  EXPECT_TRUE(mayShare("https://h/x", "https://u@H:443"));
  EXPECT_TRUE(mayShare("http://h/x", "https://h"));
  for (const char* other : {"https://h:444", "https://h.evil", "https://evil", "https://", "ssh://h", "https://h.",
                            "https://evil/h", "https://h@evil"}) {
    EXPECT_FALSE(mayShare("http://h/x", other)) << other;
    EXPECT_FALSE(mayShare("https://h/x", other)) << other;
  }
  EXPECT_FALSE(mayShare("https://h/x", "http://h")) << "not without protection";
  EXPECT_FALSE(mayShare("http://h:8080/x", "https://h"));
  EXPECT_FALSE(mayShare("/x", "https://"));
}

TEST(SSHCommand, arrivesThroughAShellAsItIs) {
  std::vector<std::string> arguments = {"", "a b", "it's", "$(touch x) `y` \\ \"", "-n", "*", "\n", "ä;#&|<>"};
  test::TemporaryDirectory folder;
  const test::ProgramResult result =
      test::runProgram({"sh", "-c", shellCommand("printf '<%s>'", arguments)}, {"PATH=/usr/bin:/bin"}, folder.string());
  std::string expected;
  for (const std::string& argument : arguments) expected += "<" + argument + ">";
  EXPECT_EQ(result.output, expected);
}

TEST(SSHCommand, isWhatSSHTakesItFor) {
  RemoteAccess access = accessOf("ssh://u@h/x", Keys::initWithUsername("u", URL::fileURL("/keys/100% mine"), "p"));
  access.trustedFingerprint = "SHA256:x";
  std::vector<std::string> command = sshArguments(access, "/a \"b\" 50%/askpass");
  command.insert(command.begin(), {"ssh", "-G"});
  command.push_back("somebody@h");
  std::string settings = test::runProgram(command, {"PATH=/usr/bin:/bin", "HOME=/nonexistent"}, "/").output;
  for (const char* line :
       {"user u\n", "stricthostkeychecking true\n", "identityfile /keys/100%% mine\n", "identitiesonly yes\n",
        "userknownhostsfile /dev/null\n", "globalknownhostsfile /dev/null\n", "passwordauthentication no\n",
        "controlmaster false\n", "knownhostscommand \"/a \\\"b\\\" 50%%/askpass\" %I %H %t %K %f\n"}) {
    EXPECT_NE(settings.find(line), std::string::npos) << line << settings;
  }
}

/// What a request with that strategy answers to the text of a question.
std::optional<std::string> answerTo(const std::string& url, const QRBSourceControlAuthenticationStrategyPtr& strategy,
                                    const std::string& text) {
  RemoteAccess access = accessOf(url, strategy);
  return CredentialAnswers(access).answer({kAskpassPromptKind, {text}});
}

TEST(CredentialAnswers, aQuestionOfTheRightServerAloneIsAnswered) {
  auto password = Basic::initWithUsername("u", "p");
  auto strange = Basic::initWithUsername("a@b's: ", "p");
  auto key = Keys::initWithUsername("u", URL::fileURL("/k"), "p");
  auto usual = Keys::initWithUsername("u", {}, "p");
  const struct {
    const char* url;
    QRBSourceControlAuthenticationStrategyPtr strategy;
    const char* text;
    std::optional<std::string> answer;
  } cases[] = {
      {"https://h/x", password, "Username for 'https://h': ", "u"},
      {"https://h/x", password, "Password for 'https://u@h': ", "p"},
      {"https://h:1/x", password, "Password for 'https://u@h:1': ", "p"},
      {"https://h/x", strange, "Password for 'https://a@b's: @h': ", "p"},
      {"https://h/x", strange, "Password for 'https://a%40b%27s%3a%20@h': ", "p"},
      {"https://h/x", password, "Password for 'https://other@h': ", std::nullopt},
      {"https://h/x", password, "Password for 'https://h': ", std::nullopt},
      {"https://h/x", password, "Password for 'https://u@evil': ", std::nullopt},
      {"https://h/x", password, "Password for 'https://u@h@evil': ", std::nullopt},
      {"https://h/x", password, "Password for 'http://u@h': ", std::nullopt},
      {"https://h/x", password, "Password for 'https://u@h:1': ", std::nullopt},
      {"https://h/x", password, "Password for 'cert:///k': ", std::nullopt},
      {"https://h/x", password, "Username for 'https://evil': ", std::nullopt},
      {"https://h/x", password, "u@h's password: ", "p"},
      {"https://h/x", nullptr, "Username for 'https://h': ", std::nullopt},
      {"ssh://u@h/x", key, "Enter passphrase for key '/k': ", "p"},
      {"ssh://u@h/x", key, "Enter passphrase for key '/other': ", std::nullopt},
      {"ssh://u@h/x", usual, "Enter passphrase for key '/other': ", "p"},
      {"ssh://u@h/x", key, "u@h's password: ", std::nullopt},
      {"ssh://u@h/x", key, "Enter PIN for key /k: ", std::nullopt},
      {"ssh://u@h/x", password, "u@h's password: ", "p"},
      {"ssh://u@h/x", password, "(u@h) Password: ", "p"},
      {"ssh://u@h/x", password, "(u@h) Verification code: ", std::nullopt},
      {"ssh://u@h/x", password, "(u@evil) Password: ", std::nullopt},
      {"ssh://u@h/x", password, "other@h's password: ", std::nullopt},
      {"ssh://u@h/x", password, "(evil) type the password of u@h's password: ", std::nullopt},
      {"ssh://u@h/x", password, "Are you sure you want to continue connecting (yes/no)? ", std::nullopt},
      {"ssh://u@h/x", password, "", std::nullopt},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(answerTo(each.url, each.strategy, each.text), each.answer) << each.url << ": " << each.text;
  }
}

}  // namespace
}  // namespace qrb
