#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "SSHAddress.h"
#include "SSHKnownHosts.h"
#include "SSHPublicKey.h"

namespace qrb::test {
namespace {

using testing::Pair;
using testing::UnorderedElementsAre;

// A key and the fingerprint that ssh-keygen shows for it.
constexpr const char* kKey = "ssh-ed25519 AAAAC3NzaC1lZDI1NTE5AAAAIBjStzAPiYnDg39lqIpAoc/9iZaUQ9R8idAEbu2MG0mk";
constexpr const char* kFingerprint = "SHA256:8F8BAzLT2ldy9xQ4W/4Rmep+KEmd/WVRDhJOZ/UqyP0";

TEST(SSHKnownHosts, EachHostIsListedAsItIsWrittenWithTheFingerprintsOfItsKeys) {
  std::string key = kKey;
  auto known = parseSSHKnownHosts("# a comment " + key + "\n\nexample.org,192.0.2.7 " + key +
                                  " remark\n[example.org]:2222\t" + key + "\r\n|1|c2FsdA==|aGFzaA== " + key +
                                  "\nexample.org " + key + "\n*.example.net,!bad.example.net " + key);
  std::vector<std::string> one = {kFingerprint};
  EXPECT_THAT(known,
              UnorderedElementsAre(Pair("example.org", one), Pair("192.0.2.7", one), Pair("[example.org]:2222", one),
                                   Pair("|1|c2FsdA==|aGFzaA==", one), Pair("*.example.net", one)));
}

TEST(SSHKnownHosts, LinesThatGiveNoHostAKeyArePassedOver) {
  std::string key = kKey;
  for (const std::string& line :
       {"@revoked example.org " + key, "@cert-authority *.example.org " + key,
        "example.org ssh-rsa " + key.substr(key.find(' ') + 1), std::string("example.org"),
        std::string("example.org ssh-ed25519"), std::string("example.org ssh-ed25519 !!!!"),
        std::string("example.org ssh-ed25519 AAAA"), ", " + key, std::string(" \t "), std::string("\0\0\0", 3)}) {
    EXPECT_TRUE(parseSSHKnownHosts(line + "\n").empty()) << line;
    // Nor do they hide what follows.
    EXPECT_EQ(parseSSHKnownHosts(line + "\nexample.com " + key + "\n").size(), 1u) << line;
  }
}

struct AddressCase {
  const char* url;
  std::vector<std::string> arguments;
};

TEST(SSHAddress, IsTakenFromURLsAndFromScpForms) {
  for (const AddressCase& example : {
           AddressCase{"ssh://example.org/repository", {"example.org"}},
           AddressCase{"ssh://git@example.org:2222/repository", {"-l", "git", "-p", "2222", "example.org"}},
           AddressCase{"svn+ssh://me@example.org/trunk", {"-l", "me", "example.org"}},
           AddressCase{"git@example.org:group/repository.git", {"-l", "git", "example.org"}},
           AddressCase{"ssh://[2001:db8::1]:22/repository", {"-p", "22", "2001:db8::1"}},
           AddressCase{"git@[2001:db8::1]:repository", {"-l", "git", "2001:db8::1"}},
           AddressCase{"ssh://git@Alias/not encoded", {"-l", "git", "Alias"}},
       }) {
    auto address = SSHAddress::parse(URL(example.url));
    ASSERT_TRUE(address) << example.url;
    EXPECT_EQ(address->arguments(), example.arguments) << example.url;
  }
}

TEST(SSHAddress, WhatSSHCouldTakeForAnOptionOrAShellForACommandIsRefused) {
  for (const char* url : {"https://example.org/repository", "ssh://-oProxyCommand=touch%20x/repository",
                          "ssh:///repository", "ssh://-l@example.org/repository", "ssh://a%20b@example.org/x",
                          "ssh://a`b`@example.org/x", "ssh://$(x)@example.org/x", "ssh://example.org:2x/x", "/a/path",
                          "-oProxyCommand=x@example.org:x", "git@-oProxyCommand=x:x"}) {
    EXPECT_FALSE(SSHAddress::parse(URL(url))) << url;
  }
}

}  // namespace
}  // namespace qrb::test
