#include "ServerTrust.h"

#include <gmock/gmock.h>
#include <stdlib.h>

#include "HTTPProxy.h"

namespace qrb::test {
namespace {

using testing::HasSubstr;
using testing::Not;

TEST(ServerTrust, WhatIsNotUnderstoodIsNeverTrusted) {
  const std::string rest = "from 1\nuntil 2\npin sha256//x\nname 434E\ncertificate 3000\n";
  auto whole = ServerTrust::parse(rest);
  ASSERT_TRUE(whole);
  EXPECT_EQ(whole->verdict(), TrustVerdict::trusted);
  auto strange = ServerTrust::parse("fault unknown-issuer\nfault something-new\n" + rest);
  ASSERT_TRUE(strange);
  EXPECT_EQ(strange->verdict(), TrustVerdict::fatalFailure);
  EXPECT_FALSE(strange->isAcceptable({}, strange->fingerprint()));
  EXPECT_EQ(ServerTrust().verdict(), TrustVerdict::fatalFailure);
  const std::string broken[] = {"",
                                rest.substr(0, rest.size() - 1),
                                "from 1\nuntil 2\npin sha256//x\nname 434E\n",
                                "name 434E\ncertificate 3000\n",
                                "from soon\n" + rest,
                                "pin md5//x\n" + rest,
                                rest + "certificate 30G0\n",
                                rest + "certificate 300\n",
                                rest + "certificate \n",
                                rest + "verdict trusted\n",
                                rest + "\n"};
  for (const std::string& output : broken) EXPECT_FALSE(ServerTrust::parse(output)) << output;
}

TEST(ServerTrust, AFingerprintIsItsDigitsAndAnEmptyOneIsNobodys) {
  ServerTrust trust = *ServerTrust::parse("fault unknown-issuer\npin sha256//x\nname 0A1B5B\ncertificate 00\n");
  std::string right = "5BA93C9DB0CFF93F52B521D7420E43F6EDA2784F";
  EXPECT_EQ(trust.fingerprint(), right);
  EXPECT_TRUE(trust.isAcceptable({}, "5b:a9:3c:9d:b0:cf:f9:3f:52:b5:21:d7:42:0e:43:f6:ed:a2:78:4f"));
  for (const std::string& wrong : {std::string(), right.substr(1), right + "0", trust.longFingerprint()}) {
    EXPECT_FALSE(trust.isAcceptable({}, wrong)) << wrong;
    EXPECT_FALSE(trust.isAcceptable(wrong, right)) << wrong;
  }
  // A name is a stranger's word, and terminals obey some.
  EXPECT_THAT(trust.description(), Not(HasSubstr("\x1b")));
}

TEST(HTTPProxy, AddressesAreReadAsToolsReadThem) {
  const struct {
    const char* text;
    std::optional<std::vector<std::string>> parts;
  } rows[] = {
      {"http://proxy:3128", {{"proxy", "3128", "", ""}}},
      {"proxy:3128", {{"proxy", "3128", "", ""}}},
      {"HTTP://proxy/", {{"proxy", "1080", "", ""}}},
      {"http://ada:p%40%20w@[::1]:8080", {{"::1", "8080", "ada", "p@ w"}}},
      {"ada@proxy", {{"proxy", "1080", "ada", ""}}},
      {"https://proxy:443", {}},
      {"socks5h://proxy:1", {}},
      {"http://", {}},
      {"http:// ada:secret@x", {}},
  };
  for (const auto& row : rows) {
    std::optional<HTTPProxy> proxy;
    std::string reason;
    EXPECT_EQ(HTTPProxy::parse(row.text, proxy, reason), row.parts.has_value()) << row.text;
    EXPECT_EQ(reason.empty(), row.parts.has_value()) << row.text;
    EXPECT_THAT(reason, Not(HasSubstr("secret")));
    if (!proxy || !row.parts) continue;
    EXPECT_EQ((std::vector{proxy->host, proxy->port, proxy->user, proxy->password}), *row.parts) << row.text;
  }
}

TEST(HTTPProxy, AServerIsExemptByItsNameItsDomainOrItsRange) {
  const struct {
    const char* host;
    const char* list;
    bool isExempt;
  } rows[] = {
      {"git.example.org", "*", true},
      {"git.example.org", "a.b, example.org", true},
      {"git.example.org", ".EXAMPLE.org.", true},
      {"git.example.org.", "git.example.org", true},
      {"gitexample.org", "example.org", false},
      {"example.org", "git.example.org", false},
      {"git.example.org", "", false},
      {"git.example.org", ",, .", false},
      {"10.1.2.3", "10.0.0.0/8", true},
      {"10.1.2.3", "10.1.2.0/31\t10.1.2.2/31", true},
      {"10.1.2.3", "10.1.2.4/31", false},
      {"10.1.2.3", "10.1.2.3", true},
      {"110.1.2.3", "10.1.2.3", false},
      {"10.1.2.3", "10.0.0.0/33", false},
      {"10.1.2.3", "2.3", false},
      {"[::1]", "::1", true},
      {"fd00::7", "[fd00::7]", true},
      {"fd00::7", "fd00::/16", true},
  };
  for (const auto& row : rows) EXPECT_EQ(isExemptFromProxies(row.host, row.list), row.isExempt) << row.host << row.list;
}

}  // namespace
}  // namespace qrb::test
