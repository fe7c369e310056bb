#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <string>

#include "Codec.h"
#include "MessageScanner.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlModelPrivate.h"
#include "QRBSourceControlPlugInMain.h"

namespace {

using namespace std::string_literals;

using qrb::ArchiveWriter;
using qrb::ArchiveWriterTables;

/// The name of the link that this process was launched by.
std::string ownName;

QRBSourceControlSystemPtr testSystem() {
  return QRBSourceControlSystem::initWithName("Test", ownName, "1", ".git", {ownName}, true, true, false, false, false,
                                              7);
}

// Serves as a good plug-in does.
class GoodPlugIn : public QRBSourceControlPlugInPrimary {
 public:
  explicit GoodPlugIn(std::int64_t failureCode = 0) : _failureCode(failureCode) {}

  void sourceControlSystem(Answer<QRBSourceControlSystemPtr> completionBlock) override {
    completionBlock(testSystem());
  }

  void baseRevisionOfWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy,
                                 Completion<QRBSourceControlRevisionPtr> completionBlock) override {
    if (_failureCode != 0) {
      // With a result beside the error, which the host must not pass on.
      return completionBlock(QRBSourceControlRevision::initWithIdentifier("result"),
                             qrb::Error("org.qrb.SourceControlErrorDomain", _failureCode));
    }
    completionBlock(QRBSourceControlRevision::initWithIdentifier(std::to_string(::getpid()) + " " +
                                                                 workingCopy->fileURL().lastPathComponent().str()),
                    {});
  }

  // Every candidate is a working copy of ours, and so is every folder when we look for ourselves.
  void scanForWorkingCopiesInPotentialWorkingCopies(const std::vector<qrb::URL>& potentialWorkingCopies,
                                                    Answer<WorkingCopies> completionBlock) override {
    WorkingCopies workingCopies;
    for (const qrb::URL& url : potentialWorkingCopies) workingCopies.push_back(workingCopyAt(url));
    completionBlock(workingCopies);
  }
  void scanForWorkingCopiesInFolderPaths(const Files& folderPaths, bool traversingUp,
                                         Answer<WorkingCopies> completionBlock) override {
    WorkingCopies workingCopies;
    for (const qrb::String& path : folderPaths) {
      workingCopies.push_back(workingCopyAt(qrb::URL::fileURL(path.str() + (traversingUp ? "/up" : "/down"))));
    }
    completionBlock(workingCopies);
  }

  void validateAuthenticationOfRemoteRepository(const QRBSourceControlRemoteRepositoryPtr&,
                                                const QRBSourceControlRevisionLocationPtr&,
                                                const QRBSourceControlBranchAndTagLocationsPtr&,
                                                Completion<> completionBlock) override {
    completionBlock(qrb::Error("org.qrb.SourceControlErrorDomain", _failureCode));
  }

  void keychainNameFromURL(const qrb::URL&,
                           Completion<qrb::String, std::uint64_t, qrb::String> completionBlock) override {
    completionBlock("name", 3, "account", _failureCode == 0 ? qrb::Error() : qrb::Error("domain", _failureCode));
  }

  void createWorkingCopyFromRepository(const QRBSourceControlRemoteRepositoryPtr&,
                                       const QRBSourceControlRevisionLocationPtr&,
                                       const QRBSourceControlBranchAndTagLocationsPtr&, const qrb::URL&,
                                       const qrb::String& progressIdentifier,
                                       Completion<QRBSourceControlWorkingCopyPtr> completionBlock) override {
    for (std::int64_t status : {0, 1, 2, 3, 4, 7}) {
      host().progressStatus(static_cast<QRBSourceControlProgressStatus>(status), static_cast<double>(status) / 8, {},
                            progressIdentifier);
    }
    host().progressStatus(QRBSourceControlProgressStatus::copying, 1, "of its own", progressIdentifier);
    host().progressStatus(QRBSourceControlProgressStatus::copying, 1, "not ours", "no such operation");
    completionBlock(nullptr, {});
  }

  void downloadUpdatesFromRemoteRepository(const QRBSourceControlRemoteRepositoryPtr&,
                                           const QRBSourceControlRepositoryPtr&,
                                           Completion<> completionBlock) override {
    host().progressStatus(QRBSourceControlProgressStatus::transferring, 0.25, {}, "");
    host().progressStatus(QRBSourceControlProgressStatus::transferring, 0.5, {}, {});
    host().progressStatus(QRBSourceControlProgressStatus::transferring, 1, "of its own", "");
    completionBlock({});
  }

  // As many items as are asked for, in batches, with few authors and paths among them.
  void historyOfWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy, const QRBSourceControlRevisionPtr&,
                            const QRBSourceControlRevisionPtr&, std::uint64_t, std::int64_t maximumLogItems,
                            const qrb::String&, std::uint64_t, const qrb::String& progressIdentifier,
                            Completion<LogItems> completionBlock) override {
    std::vector<QRBSourceControlAuthorPtr> authors;
    for (int number = 0; number < 3; ++number) {
      authors.push_back(QRBSourceControlAuthor::initWithUsername("author " + std::to_string(number),
                                                                 "a" + std::to_string(number) + "@example.org"));
    }
    LogItems all;
    LogItems batch;
    for (std::int64_t number = 0; number < maximumLogItems; ++number) {
      auto paths = std::make_shared<const QRBSourceControlPathStatuses>(
          QRBSourceControlPathStatuses{{"path " + std::to_string(number % 5), std::uint64_t{2}}});
      auto item = QRBSourceControlLogItem::initWithAuthor(
          authors[static_cast<std::size_t>(number) % authors.size()],
          QRBSourceControlRevision::initWithIdentifier(std::to_string(number)),
          qrb::Date(std::chrono::seconds(1'000'000 + number)), "message", paths, workingCopy);
      all.push_back(item);
      batch.push_back(item);
      if (batch.size() == 100 || number + 1 == maximumLogItems) {
        host().incrementalLogStatus(batch, static_cast<double>(number + 1) / static_cast<double>(maximumLogItems),
                                    progressIdentifier);
        batch.clear();
      }
    }
    completionBlock(all, {});
  }

 private:
  static QRBSourceControlWorkingCopyPtr workingCopyAt(const qrb::URL& url) {
    return QRBSourceControlWorkingCopy::initWithFileURLUnidentifiableRepository(
        url, QRBSourceControlRepository::initWithURL(url, testSystem()));
  }

  std::int64_t _failureCode;
};

// What a plug-in of our own making never does, done by hand on the socket.
class RawPlugIn {
 public:
  // Reads the host's request whole and returns its identifier.
  std::uint32_t readRequest() {
    std::string& input = _request;
    qrb::MessageScanner scanner;
    char bytes[4096];
    while (scanner.scan(input) == qrb::MessageScanner::Outcome::incomplete) {
      ssize_t count = ::read(STDIN_FILENO, bytes, sizeof bytes);
      if (count <= 0) ::_exit(3);
      input.append(bytes, static_cast<std::size_t>(count));
    }
    qrb::ArchiveReaderTables tables;
    auto message = qrb::ArchiveMessage::parse(input.substr(0, scanner.length()), tables);
    return static_cast<std::uint32_t>(message->root().element(1).unsignedInteger());
  }

  const std::string& request() const { return _request; }

  std::string response(std::uint32_t identifier, const std::function<void(ArchiveWriter&)>& result) {
    std::string bytes;
    ArchiveWriterTables tables;
    ArchiveWriter writer(bytes, tables);
    writer.writeArrayHeader(4);
    writer.writeUnsigned(1);
    writer.writeUnsigned(identifier);
    writer.writeNil();
    result(writer);
    return bytes;
  }

  std::string goodResponse(std::uint32_t identifier) {
    return response(identifier, [](ArchiveWriter& writer) {
      writer.writeArrayHeader(1);
      writer.writeObject(QRBSourceControlRevision::initWithIdentifier("whole"));
    });
  }

  void write(const std::string& bytes) {
    for (std::size_t sent = 0; sent < bytes.size();) {
      ssize_t count = ::send(STDOUT_FILENO, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
      if (count < 0) ::_exit(4);
      sent += static_cast<std::size_t>(count);
    }
  }

  // Until the host ends the conversation, or for good if it kills us.
  [[noreturn]] void linger() {
    char bytes[256];
    while (::read(STDIN_FILENO, bytes, sizeof bytes) > 0) {
    }
    ::_exit(0);
  }

 private:
  std::string _request;
};

// Keeps the request as it came in the file "request" beside the link that it was launched by, and answers with the
// bytes of the file "reply" there: the error and the result of a response.
void record(const std::string& folder) {
  RawPlugIn raw;
  std::uint32_t identifier = raw.readRequest();
  std::ofstream(folder + "/request", std::ios::binary) << raw.request();
  std::ifstream file(folder + "/reply", std::ios::binary);
  std::string reply((std::istreambuf_iterator<char>(file)), {});
  raw.write(std::string("\x94\x01", 2) + static_cast<char>(identifier) + reply);
  raw.linger();
}

// Callbacks before the reply, of a size that no message limit forbids.
std::string incrementalLog(const std::function<void(ArchiveWriter&)>& items) {
  std::string bytes;
  ArchiveWriterTables tables;
  ArchiveWriter writer(bytes, tables);
  writer.writeArrayHeader(3);
  writer.writeUnsigned(2);
  writer.writeString(QRBSourceControlPlugInCallbackProtocol::incrementalLogStatus.selector);
  writer.writeArrayHeader(3);
  items(writer);
  writer.writeNil();
  writer.writeString("nobody's");
  return bytes;
}

// 40 callbacks with 60 MB of text each, or 12 with a million objects of three bytes each, where the working copy's name
// asks for them.
void flood() {
  RawPlugIn raw;
  std::uint32_t identifier = raw.readRequest();
  bool texts = raw.request().find("flood-of-texts") != std::string::npos;
  bool objects = raw.request().find("flood-of-objects") != std::string::npos;
  for (int number = 0; texts && number < 40; ++number) {
    raw.write(incrementalLog([](ArchiveWriter& writer) {
      writer.writeArrayHeader(1);
      writer.writeObject(QRBSourceControlLogItem::initWithAuthor(nullptr, nullptr, {}, std::string(60'000'000, 'm'),
                                                                 nullptr, nullptr));
    }));
  }
  for (int number = 0; objects && number < 12; ++number) {
    raw.write(incrementalLog([](ArchiveWriter& writer) {
      writer.writeArrayHeader(1'000'000);
      for (int object = 0; object < 1'000'000; ++object) {
        writer.writeMapHeader(1);
        writer.writeNil();
        writer.writeKey("QRBSourceControlLogItem");
      }
    }));
  }
  raw.write(raw.goodResponse(identifier));
  raw.linger();
}

[[noreturn]] void dieBySignal() {
  ::kill(::getpid(), SIGKILL);
  ::_exit(5);
}

// A child in our group that holds our end of the connection open, ignores SIGTERM and outlives us if it is let to.
void startStubbornChild() {
  int ready[2];
  if (::pipe(ready) != 0) ::_exit(6);
  if (::fork() == 0) {
    ::signal(SIGTERM, SIG_IGN);
    (void)!::write(ready[1], "r", 1);
    for (;;) ::pause();
  }
  char byte;
  (void)!::read(ready[0], &byte, 1);
}

/// What comes in place of an answer, as it stands.
std::map<std::string_view, std::string> notAnswers() {
  return {{"garbage", std::string(64, '\xc1')},
          {"text", "warning: something a library printed\n"},
          {"gigabyte-length", "\x94\x01\x01\xc0\xc6\x40\x00\x00\x00"s},
          {"million-elements", "\x94\x01\x01\xc0\xdd\xff\xff\xff\xff"},
          {"deep", "\x94\x01\x01\xc0" + std::string(500, '\x91')},
          // Announces 210 million bytes and fourteen million values, both within the limits of a message.
          {"too-much", "\x94\x01\x01\xc0\x91\xdd\x00\xd5\x9f\x80\xc6\x0c\x84\x58\x80"s},
          {"dangling-reference", "\x94\x01\x01\xc0\x91\xd4\x01\x07"},
          {"request-to-host", "\x94\x00\x01\xa1x\x90"s}};
}

/// Answers whose one value is not what was asked for.
std::map<std::string_view, std::function<void(ArchiveWriter&)>> otherValues() {
  return {{"system-then-exit", [](ArchiveWriter& writer) { writer.writeObject(testSystem()); }},
          {"another-class",
           [](ArchiveWriter& writer) { writer.writeObject(QRBSourceControlTag::initWithTagName("not a revision")); }},
          {"another-type", [](ArchiveWriter& writer) { writer.writeString("a text"); }},
          {"unknown-class", [](ArchiveWriter& writer) {
             writer.writeMapHeader(1);
             writer.writeNil();
             writer.writeKey("NoSuchClass");
           }}};
}

int misbehave(const std::string& folder) {
  std::string mode = folder.substr(folder.rfind('/') + 1);
  RawPlugIn raw;
  auto hang = [] {
    for (;;) ::pause();
  };
  auto serve = [](std::int64_t failure) { ::_exit(QRBSourceControlRunPlugIn(std::make_shared<GoodPlugIn>(failure))); };
  auto answer = [&] { return raw.goodResponse(raw.readRequest()); };
  const std::map<std::string, std::function<void()>> modes = {
      {"exit-at-start", [] { ::_exit(0); }},
      {"killed-at-start", [] { dieBySignal(); }},
      {"exit-without-reply", [&] { raw.readRequest(), ::_exit(0); }},
      {"killed-without-reply", [&] { raw.readRequest(), dieBySignal(); }},
      {"killed-with-child", [&] { startStubbornChild(), raw.readRequest(), dieBySignal(); }},
      {"hang-with-child", [&] { startStubbornChild(), raw.readRequest(), hang(); }},
      {"hang", [&] { raw.readRequest(), raw.linger(); }},
      {"deaf", [&] { raw.write(answer()), hang(); }},
      {"reply-then-die", [&] { raw.write(answer()), dieBySignal(); }},
      {"reply-twice",
       [&] {
         std::string response = answer();
         raw.write(response + response), raw.linger();
       }},
      {"reply-to-no-request", [&] { raw.write(raw.goodResponse(raw.readRequest() + 1)), raw.linger(); }},
      {"flood", [] { flood(); }},
      {"recorder", [&] { record(folder); }},
      {"authentication", [&] { serve(-1002); }},
      {"failure-999", [&] { serve(-999); }},
      {"failure-1000", [&] { serve(-1000); }},
  };
  if (auto found = modes.find(mode); found != modes.end()) found->second();
  auto texts = notAnswers();
  if (auto found = texts.find(mode); found != texts.end()) raw.readRequest(), raw.write(found->second), raw.linger();
  auto values = otherValues();
  if (auto found = values.find(mode); found != values.end()) {
    raw.write(raw.response(raw.readRequest(), [&](ArchiveWriter& writer) {
      writer.writeArrayHeader(1);
      found->second(writer);
    }));
    if (mode == "system-then-exit") ::_exit(0);
    raw.linger();
  }
  constexpr std::string_view cut = "dies-after-";
  if (mode.starts_with(cut)) {
    raw.write(answer().substr(0, std::stoul(mode.substr(cut.size()))));
    dieBySignal();
  }
  return QRBSourceControlRunPlugIn(std::make_shared<GoodPlugIn>());
}

}  // namespace

int main(int, char** arguments) {
  std::string path = arguments[0];
  ownName = path.substr(path.rfind('/') + 1);
  return misbehave(path.substr(0, path.rfind('/')));
}
