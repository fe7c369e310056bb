#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "QRBSourceControlString.h"
#include "QRBSourceControlURL.h"
#include "ValuePrinters.h"

namespace {

using qrb::String;
using qrb::URL;

URL makeURL(const char* text) {
  return URL(String(text));
}

struct AddressCase {
  const char* text;
  String scheme, user, password, host;
  int port;
  String path, anonymous, scp, server;
  bool isValid;
};

TEST(Addresses, AreTakenApartInEveryForm) {
  const String no;
  const AddressCase cases[] = {
      {"https://u:p@server:8443/scm/repo.git", "https", "u", "p", "server", 8443, "/scm/repo.git",
       "https://server:8443/scm/repo.git", "u:p@server:8443/scm/repo.git", "https://u:p@server:8443", true},
      {"git@server:team/repo.git", no, "git", no, "server", 0, "team/repo.git", "server:team/repo.git",
       "git@server:team/repo.git", "git@server", true},
      {"ssh://git@server/team/repo.git", "ssh", "git", no, "server", 0, "/team/repo.git", "ssh://server/team/repo.git",
       "git@server:/team/repo.git", "ssh://git@server", true},
      {"ssh://git@server:22/repo", "ssh", "git", no, "server", 22, "/repo", "ssh://server:22/repo",
       "git@server:22/repo", "ssh://git@server:22", true},
      {"SVN+SSH://Server/Path", "SVN+SSH", no, no, "Server", 0, "/Path", "SVN+SSH://Server/Path", "Server:/Path",
       "SVN+SSH://Server", true},
      // A number without a path: the pattern keeps its last digit.
      {"git@server:8022", no, "git", no, "server", 2, no, "server:8022", "git@server:8022", "git@server:8022", true},
      {"server:path", no, no, no, "server", 0, "path", "server:path", "server:path", "server", false},
      {"git@server|odd", no, "git", no, "server", 0, "odd", "server|odd", "git@server|odd", "git@server", true},
      {"https://server", "https", no, no, "server", 0, "", "https://server", "https://server", "https://server", true},
      {"https://server/a%20b/", "https", no, no, "server", 0, "/a b", "https://server/a%20b/", "server:/a%20b/",
       "https://server", true},
      {"https://server/not encoded", "https", no, no, "server", 0, "not encoded", "https://server/not encoded",
       "server:/not encoded", "https://server", true},
      {"file:///Users/a/repo", "file", no, no, "/Users", 0, "/Users/a/repo", "file:///Users/a/repo", ":/Users/a/repo",
       "file:///Users", true},
      {":@server:x", no, no, no, ":@server", 0, "x", ":@server:x", ":@server:x", ":@server", false},
      {"@server:x", no, no, no, "server", 0, "x", "server:x", "@server:x", "@server", false},
      // The matcher's "." ends at a line: nothing matches, and each URL comes back as it is.
      {"a\nb:c", no, no, no, no, 0, no, "a\nb:c", "a\nb:c", "a\nb:c", false},
      {"", no, no, no, no, 0, no, "", "", "", false},
  };
  for (const AddressCase& each : cases) {
    SCOPED_TRACE(each.text);
    URL url = makeURL(each.text);
    EXPECT_EQ(qrbscm_scheme(url), each.scheme);
    EXPECT_EQ(qrbscm_user(url), each.user);
    EXPECT_EQ(qrbscm_password(url), each.password);
    EXPECT_EQ(qrbscm_host(url), each.host);
    EXPECT_EQ(qrbscm_port(url).value_or(0), each.port);
    EXPECT_EQ(qrbscm_path(url), each.path);
    EXPECT_EQ(qrbscm_anonymousURL(url).absoluteString(), each.anonymous);
    EXPECT_EQ(qrbscm_scpURL(url).absoluteString(), each.scp);
    EXPECT_EQ(qrbscm_serverURL(url).absoluteString(), each.server);
    EXPECT_EQ(qrbscm_isSCPURI(url), !each.scheme.has_value());
    EXPECT_EQ(qrbscm_isValid(url), each.isValid);
  }
}

TEST(Addresses, ThatAreAbsentHaveNoParts) {
  URL absent;
  EXPECT_FALSE(qrbscm_host(absent));
  EXPECT_FALSE(qrbscm_path(absent));
  EXPECT_FALSE(qrbscm_anonymousURL(absent));
  EXPECT_FALSE(qrbscm_scpURL(absent));
  EXPECT_FALSE(qrbscm_lastPathComponentNoExtension(absent));
  EXPECT_TRUE(qrbscm_isSCPURI(absent));
  EXPECT_FALSE(qrbscm_isValid(absent));
}

TEST(Addresses, AreOfTheSameServerWhenAllBeforeThePathIsTheSame) {
  auto same = [](const char* a, const char* b) { return qrbscm_sameServerAs(makeURL(a), makeURL(b)); };
  EXPECT_TRUE(same("https://u@server/a", "https://u@server/b/c"));
  EXPECT_TRUE(same("git@server:a", "git@server:b"));
  EXPECT_FALSE(same("https://u@server/a", "https://v@server/a"));
  EXPECT_FALSE(same("https://server/a", "http://server/a"));
  EXPECT_FALSE(same("https://server:1/a", "https://server:2/a"));
}

TEST(Addresses, EndInAName) {
  struct Case {
    const char *text, *last, *withoutExtension;
  };
  const Case cases[] = {
      {"https://server/team/repo.git", "repo.git", "repo"},
      {"https://server/a.b.git/", "a.b.git", "a.b"},
      {"https://server/My%20Repo.git", "My Repo.git", "My Repo"},
      {"git@server:team/repo.git", "repo.git", "repo"},
      {"git@server:repo", "repo", "repo"},
      {"/plain/path.git", "path.git", "path"},
      {"git@server:team/.git", ".git", ""},
      {"https://server", "server", "server"},
      {"git@server:", "", ""},
  };
  for (const Case& each : cases) {
    EXPECT_EQ(qrbscm_lastPathComponent(makeURL(each.text)), each.last) << each.text;
    EXPECT_EQ(qrbscm_lastPathComponentNoExtension(makeURL(each.text)), each.withoutExtension) << each.text;
  }
}

TEST(RelativePath, LeadsFromTheBaseToTheTarget) {
  struct Case {
    const char *target, *base, *path;
  };
  const Case cases[] = {
      {"file:///a/b/c", "file:///a/b", "/c"},          {"file:///a/b/c", "file:///a/b/", "c"},
      {"file:///a/b-more", "file:///a/b", "-more"},    {"file:///a/b", "file:///a/b", ""},
      {"file:///a/x/y", "file:///a/b/c", "../../x/y"}, {"file:///a/x%20x/y", "file:///a/b%20b/", "../x%20x/y"},
      {"file:///a%20a/x", "file:///a%20a/b", "../x"},  {"file:///x", "file:///a/b", "../../x"},
      {"file:///a", "file:///a/b/c", "../.."},         {"file:///a+b/x", "file:///a+b/c", "../x"},
  };
  for (const Case& each : cases) {
    EXPECT_EQ(relativePathStringFromURL(makeURL(each.target), makeURL(each.base)), each.path)
        << each.target << " from " << each.base;
  }
}

TEST(RelativePath, LeadsToAPathWhoseBytesAreNoText) {
  EXPECT_EQ(relativePathStringFromURL(URL::fileURL("/r\xff/x"), URL::fileURL("/r\xff/y")), "../x");
}

TEST(Strings, StandardizeRelativePathsWithoutClimbingAboveTheStart) {
  const std::pair<const char*, const char*> cases[] = {
      {"a/./b//../c/", "a/c"}, {"../../a", "a"}, {"..", ""}, {"", ""}, {"/a/../b/", "/b"}, {"/..", "/"},
  };
  for (const auto& [path, expected] : cases) EXPECT_EQ(qrbscm_stringByStandardizingRelativePath(path), expected);
}

TEST(Strings, AreJoinedAsURLTextWithoutDoublingTheSlashAtTheJoint) {
  struct Case {
    const char *url, *component, *joined;
  };
  const Case cases[] = {{"svn://s/r", "a b", "svn://s/r/a b"},
                        {"svn://s/r/", "/a", "svn://s/r/a"},
                        {"svn://s/r//", "//a/", "svn://s/r///a/"},
                        {"", "a", "/a"},
                        {"x", "", "x/"}};
  for (const Case& each : cases) {
    EXPECT_EQ(qrbscm_urlStringByAppendingPathComponent(each.url, each.component), each.joined);
  }
}

TEST(Strings, AreTitledOnlyWithoutCapitalsOfTheirOwn) {
  const std::pair<const char*, const char*> cases[] = {
      {"master", "Master"}, {"origin/main", "Origin/main"},
      {"topicX", "topicX"}, {"Main", "Main"},
      {"1.0", "1.0"},       {"", ""},
      {"élan", "élan"},
  };
  for (const auto& [identifier, title] : cases) EXPECT_EQ(qrbscm_displayString(identifier), title);
}

}  // namespace
