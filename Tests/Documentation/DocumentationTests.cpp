// What the documentation quotes is what the project holds and what the library sends.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <bit>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>

#include "Connection.h"
#include "QRBSourceControlConstants.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlModelPrivate.h"
#include "QRBSourceControlPlugInProtocol.h"
#include "QRBSourceControlServiceProtocols.h"
#include "QRBSourceControlStatusValues.h"

namespace {

using namespace qrb;
namespace Protocol = QRBSourceControlPlugInProtocol;
namespace Callback = QRBSourceControlPlugInCallbackProtocol;

std::string fileText(const std::string& relativePath) {
  std::ifstream file(std::filesystem::path(QRB_SOURCE_FOLDER) / relativePath, std::ios::binary);
  EXPECT_TRUE(file) << relativePath;
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string between(const std::string& text, const std::string& begin, const std::string& end) {
  std::size_t from = text.find(begin);
  if (from == std::string::npos) return "nothing begins with " + begin;
  from += begin.size();
  return text.substr(from, text.find(end, from) - from);
}

// The bytes under a name in the protocol's page, in hexadecimal, one space between two.
std::string documentedBytes(const std::string& name) {
  std::istringstream block(
      between(fileText("Documentation/protocol.md"), "<!-- bytes: " + name + " -->\n```\n", "```"));
  std::string hexadecimal;
  for (std::string line; std::getline(block, line);) {
    std::istringstream bytes(line.substr(0, line.find('#')));
    for (std::string byte; bytes >> byte;) hexadecimal += byte + " ";
  }
  return hexadecimal;
}

// One side of a conversation, and what it has put on the wire.
class Side {
 public:
  Side() {
    DescriptorPair sockets = makeSocketPair();
    _peer = std::move(sockets.second);
    _connection = Connection::make(std::move(sockets.first), FileDescriptor(), {});
  }

  template <class... A>
  std::string request(std::string_view method, const std::tuple<A...>& arguments) {
    _connection->sendRequest(
        method, encoder(arguments), [](ArchiveNode, ArchiveNode) {}, [] {});
    return sent();
  }
  template <class... A>
  std::string notification(std::string_view method, const std::tuple<A...>& arguments) {
    EXPECT_TRUE(_connection->sendNotification(method, encoder(arguments)));
    return sent();
  }
  template <class... A>
  std::string response(const std::tuple<A...>& values) {
    EXPECT_TRUE(_connection->sendResponse(1, Error(), encoder(values)));
    return sent();
  }
  std::string response(const Error& error) {
    EXPECT_TRUE(_connection->sendResponse(1, error, nullptr));
    return sent();
  }

 private:
  template <class... A>
  static Connection::Encoder encoder(const std::tuple<A...>& values) {
    return [values](ArchiveWriter& writer) { writeValues(writer, values); };
  }
  std::string sent() {
    std::string bytes(4096, '\0');
    ssize_t count = ::recv(_peer.get(), bytes.data(), bytes.size(), MSG_DONTWAIT);
    std::string hexadecimal;
    for (ssize_t index = 0; index < count; ++index) {
      char text[4];
      std::snprintf(text, sizeof text, "%02x ", static_cast<unsigned char>(bytes[static_cast<std::size_t>(index)]));
      hexadecimal += text;
    }
    return hexadecimal;
  }

  FileDescriptor _peer;
  std::shared_ptr<Connection> _connection;
};

QRBSourceControlSystemPtr demoSystem() {
  return QRBSourceControlSystem::initWithName("Demo", "com.example.Demo", "1.0", ".demo", {}, true, false, false, false,
                                              false, QRBSourceControlAuthenticationTypeAnonymous);
}

TEST(Readme, QuotesTheHostProgramThatIsBuilt) {
  EXPECT_EQ(between(fileText("README.md"), "```cpp\n", "```"), fileText("Examples/host/main.cpp"));
}

TEST(PlugInsPage, QuotesThePlugInThatIsBuilt) {
  EXPECT_EQ(between(fileText("Documentation/plug-ins.md"), "```cpp\n", "```"), fileText("Examples/plug-in/main.cpp"));
}

TEST(ProtocolPage, ShowsTheBytesThatAreSentForTheListing) {
  Side host, plugIn;
  EXPECT_EQ(host.request(Protocol::sourceControlSystem.selector, std::tuple<>()), documentedBytes("system-request"));
  EXPECT_EQ(plugIn.response(std::tuple(demoSystem())), documentedBytes("system-reply"));
  EXPECT_EQ(host.notification(Protocol::operationsFinished.selector, std::tuple<>()), documentedBytes("finished"));
}

TEST(ProtocolPage, ShowsTheBytesThatAreSentForAStatus) {
  URL folder = URL::fileURL("/home/me/tree", true);
  auto repository = QRBSourceControlRepository::initWithURL(folder, demoSystem());
  repository->set_id("R");
  repository->setSecondaryIdentifier("S");
  auto workingCopy = QRBSourceControlWorkingCopy::initWithFileURLUnidentifiableRepository(folder, repository);
  workingCopy->set_id("W");
  Side host;
  EXPECT_EQ(host.request(Protocol::filesAndStatusOfWorkingCopy.selector, std::tuple(workingCopy, false)),
            documentedBytes("status-request"));

  auto statuses = std::make_shared<const QRBSourceControlPathStatuses>(QRBSourceControlPathStatuses{
      {"a.txt", QRBSourceControlStatusModified}, {"\xff.bin", QRBSourceControlStatusUntracked}});
  EXPECT_EQ(Side().response(std::tuple(statuses, QRBSourceControlPathStatusesPtr())), documentedBytes("status-reply"));
  EXPECT_EQ(Side().response(QRBSourceControlError_WorkingCopyNotFound("no .demo")), documentedBytes("error-reply"));
}

TEST(ProtocolPage, ShowsTheBytesThatAreSentForAHistory) {
  auto author = QRBSourceControlAuthor::initWithUsername("Ann", "ann@example.com");
  auto item = [&](const char* revision, const char* message, std::uint64_t status) {
    auto paths = std::make_shared<const QRBSourceControlPathStatuses>(QRBSourceControlPathStatuses{{"a.txt", status}});
    return QRBSourceControlLogItem::initWithAuthor(author, QRBSourceControlRevision::initWithIdentifier(revision),
                                                   Date(std::chrono::seconds(1700000000)), message, paths, nullptr);
  };
  std::vector items{item("2", "second", QRBSourceControlStatusModified),
                    item("1", "first", QRBSourceControlStatusAdded)};
  Side plugIn;
  EXPECT_EQ(plugIn.notification(Callback::incrementalLogStatus.selector,
                                std::tuple(items, Dictionary{{QRBSourceControlProgressValue, 0.5}}, String("P"))),
            documentedBytes("history-batch"));
  EXPECT_EQ(plugIn.response(std::tuple(items)), documentedBytes("history-reply"));
}

// Every quoted text of a header that looks like a message with a type of its own.
std::set<std::string> selectorsIn(const std::string& header) {
  std::string text = std::regex_replace(header, std::regex("\"\\s+\""), "");
  std::set<std::string> selectors;
  std::regex selector("\\{\\s*\"(\\w+(?::[\\w:]*)?)\"\\s*\\}");
  for (std::sregex_iterator match(text.begin(), text.end(), selector), end; match != end; ++match) {
    selectors.insert((*match)[1]);
  }
  return selectors;
}

TEST(ProtocolPage, ListsEveryMessageThatIsDeclared) {
  std::string page = fileText("Documentation/protocol.md");
  std::set<std::string> selectors{
#define QRB_MESSAGE(name, selector, ...) selector,
#include "QRBSourceControlPlugInMessages.h"
  };
  selectors.merge(selectorsIn(fileText("Framework/Engine/Messages/QRBSourceControlPlugInProtocol.h")));
  selectors.merge(selectorsIn(fileText("Framework/Engine/Messages/QRBSourceControlServiceProtocols.h")));
  EXPECT_GE(selectors.size(), 51u + 7u);
  for (const std::string& selector : selectors) {
    EXPECT_THAT(page, testing::HasSubstr("`" + selector + "`"));
  }
}

TEST(ProtocolPage, ListsEveryStatusBitWithItsWord) {
  std::string section = between(fileText("Documentation/protocol.md"), "### Status bits", "### History");
  for (const QRBSourceControlStatusWord& entry : QRBSourceControlStatusWordTable) {
    int bit = std::countr_zero(entry.bit);
    EXPECT_TRUE(
        std::regex_search(section, std::regex("[| ]" + std::to_string(bit) + " " + std::string(entry.word) + "[ |\n]")))
        << bit << " " << entry.word;
  }
}

TEST(ProtocolPage, ListsEveryErrorCode) {
  std::string section = between(fileText("Documentation/protocol.md"), "### Errors", "### Status bits");
  std::string header = fileText("Framework/Common/QRBSourceControlError.h");
  std::regex code("= (-\\d+),");
  int count = 0;
  for (std::sregex_iterator match(header.begin(), header.end(), code), end; match != end; ++match, ++count) {
    EXPECT_THAT(section, testing::HasSubstr("| " + (*match)[1].str() + " |"));
  }
  EXPECT_GE(count, 35);
}

TEST(ProtocolPage, ListsEveryArchiveKeyOfTheModel) {
  std::string section = between(fileText("Documentation/protocol.md"), "## Classes", "## Worked examples");
  std::regex encoded("coder\\.encode\\w*\\(\\s*\"(\\w+)\"");
  int count = 0;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(QRB_SOURCE_FOLDER "/Framework/Model")) {
    if (entry.path().extension() != ".cpp") continue;
    std::string source = fileText(std::filesystem::relative(entry.path(), QRB_SOURCE_FOLDER).string());
    for (std::sregex_iterator match(source.begin(), source.end(), encoded), end; match != end; ++match, ++count) {
      EXPECT_THAT(section, testing::HasSubstr("`" + (*match)[1].str() + "`")) << entry.path();
    }
  }
  EXPECT_GE(count, 50);
}

}  // namespace
