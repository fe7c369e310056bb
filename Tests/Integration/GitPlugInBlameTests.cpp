#include <random>

#include "GitWorkTesting.h"
#include "QRBSourceControlBlameItem.h"
#include "QRBSourceControlLogItem.h"

// Blame as the plug-in tells it and as git does, line by line and field by field.
namespace qrb::test {
namespace {

namespace fs = std::filesystem;
using Items = std::vector<QRBSourceControlBlameItemPtr>;

struct Line {
  std::string revision;
  std::string author;
  std::string email;
  std::int64_t date = 0;
  std::string subject;
  bool operator==(const Line&) const = default;
};

std::ostream& operator<<(std::ostream& stream, const Line& line) {
  return stream << line.revision.substr(0, 8) << ' ' << line.author << " <" << line.email << "> " << line.date << ' '
                << line.subject;
}

class GitPlugInBlameTest : public GitWorkTest {
 protected:
  std::tuple<Items, Error> blame(const String& file, const QRBSourceControlRevisionLocationPtr& location = nullptr) {
    Reply<Items> reply;
    workingCopy()->blameFile(file, location, reply.completion());
    return reply.wait();
  }

  /// Each line as the items tell it, which fails the test where they overlap or leave lines out.
  static std::vector<Line> linesOf(const Items& items) {
    std::vector<Line> lines;
    for (const auto& item : items) {
      auto range = item->lineRange();
      EXPECT_EQ(range.location, lines.size() + 1);
      EXPECT_GT(range.length, 0u);
      const auto& log = item->logItem();
      Line line;
      if (!log->revision()->isUnversionedRevision()) {
        std::string message = log->message().str();
        line = {log->revision()->identifier().str(), log->author()->name().str(), log->author()->emails().front().str(),
                std::chrono::floor<std::chrono::seconds>(log->date()).time_since_epoch().count(),
                message.substr(0, message.find('\n'))};
      }
      lines.insert(lines.end(), range.length, line);
    }
    return lines;
  }

  /// What git prints with --line-porcelain.
  std::vector<Line> linesOfGit(const std::vector<std::string>& arguments) {
    std::vector<std::string> command = {"blame", "--line-porcelain"};
    command.insert(command.end(), arguments.begin(), arguments.end());
    std::vector<Line> lines(1);
    for (const std::string& text : split(_repository.run(command), '\n')) {
      Line& line = lines.back();
      auto take = [&](std::string_view label, std::string& field) {
        if (text.starts_with(label)) field = text.substr(label.size());
      };
      if (line.revision.empty()) line.revision = text.substr(0, 40);
      std::string date;
      take("author ", line.author);
      take("author-mail ", line.email);
      take("author-time ", date);
      take("summary ", line.subject);
      if (!date.empty()) line.date = std::stoll(date);
      if (!text.starts_with('\t')) continue;
      line.email = line.email.substr(1, line.email.size() - 2);
      if (line.revision == std::string(40, '0')) line = {};
      lines.emplace_back();
    }
    lines.pop_back();
    return lines;
  }

  void expectAgreement(const std::string& file, const QRBSourceControlRevisionLocationPtr& location,
                       const std::vector<std::string>& arguments) {
    auto [items, error] = blame(file, location);
    EXPECT_FALSE(error) << error.description() << underlyingMessage(error);
    EXPECT_EQ(linesOf(items), linesOfGit(arguments)) << file;
  }

  static QRBSourceControlRevisionLocationPtr at(const std::string& name) {
    return QRBSourceControlRevisionLocation::initWithRevision(revision(name));
  }

  /// Grows a file by commits on two branches that are merged now and then, renames it half-way, and moves it into a
  /// folder.
  void makeLongHistory(int commits) {
    std::mt19937 random(5);
    std::vector<std::string> text;
    for (int line = 0; line < 200; ++line) text.push_back("line " + std::to_string(line));
    std::string path = "file";
    auto save = [&](const std::string& message) {
      std::string bytes;
      for (const std::string& line : text) bytes += line + "\n";
      _repository.write(path, bytes);
      _repository.setEnvironment("GIT_AUTHOR_NAME", "Author " + std::to_string(random() % 5) + " Ü");
      _repository.setEnvironment("GIT_AUTHOR_EMAIL", std::to_string(random() % 5) + "@example.org");
      return _repository.commit(message);
    };
    save("start");
    for (int number = 0; number < commits; ++number) {
      std::string name = "commit " + std::to_string(number);
      text[random() % text.size()] = name;
      if (number % 3 == 0) text.insert(text.begin() + static_cast<long>(random() % text.size()), {name, name + "b"});
      if (number % 5 == 0) text.erase(text.begin() + static_cast<long>(random() % text.size()));
      if (number == commits / 2 || number == commits / 3) {
        std::string next = path == "file" ? "renamed" : "folder/moved ü";
        fs::create_directories(fs::path(_repository.pathOf(next)).parent_path());
        fs::rename(_repository.pathOf(path), _repository.pathOf(next));
        path = next;
      }
      if (number % 10 == 9) {
        // Changes at the other end of the file on a branch of its own, so that they merge.
        _repository.run({"checkout", "-q", "-b", "side"});
        auto kept = text;
        text.back() = "side " + name;
        save("on the side " + name + "\n\nwith more to say");
        text = kept;
        _repository.run({"checkout", "-q", "main"});
        text.front() = "main " + name;
        save("beside it " + name);
        _repository.run({"merge", "-q", "--no-ff", "-m", "merge", "side"});
        _repository.run({"branch", "-q", "-D", "side"});
        text = split(readFile(_repository.pathOf(path)), '\n');
      } else {
        save(name + "\n\nbody");
      }
    }
    _file = path;
  }

  std::string _file;
};

TEST_F(GitPlugInBlameTest, saysOfALongHistoryWhatGitSays) {
  makeLongHistory(60);
  _repository.write(".mailmap", "Mapped <mapped@example.org> <1@example.org>\n");
  _repository.commit("mailmap");
  _repository.run({"tag", "-a", "-m", "t", "v1", "HEAD~5"});
  expectAgreement(_file, nullptr, {"--", _file});
  expectAgreement(_repository.pathOf(_file), at("HEAD"), {"HEAD", "--", _file});
  expectAgreement(_file, QRBSourceControlTag::initWithTagName("v1"), {"v1", "--", _file});
  expectAgreement("renamed", at(_repository.run({"rev-parse", "HEAD~38"})), {"HEAD~38", "--", "renamed"});
}

TEST_F(GitPlugInBlameTest, linesThatAreNotCommittedHaveTheUnversionedRevision) {
  makeLongHistory(5);
  std::string committed = read(_file);
  _repository.write(_file, "new first\n" + committed + "new last\n");
  expectAgreement(_file, nullptr, {"--", _file});
  auto [items, error] = blame(_file);
  EXPECT_TRUE(items.front()->logItem()->revision()->isUnversionedRevision());
  EXPECT_TRUE(items.front()->logItem()->isUnversionedLogItem());
  EXPECT_EQ(items.front()->lineRange().length, 1u);
  EXPECT_TRUE(items.back()->logItem()->isUnversionedLogItem());
  // As committed, the same file has no such lines.
  expectAgreement(_file, at("BASE"), {"HEAD", "--", _file});
  // A move that is not committed is followed too.
  ASSERT_FALSE(move({String(_file)}, {"elsewhere"}));
  expectAgreement("elsewhere", nullptr, {"--", "elsewhere"});
}

TEST_F(GitPlugInBlameTest, itemsOfOneCommitShareWhatItsHistoryHas) {
  makeLongHistory(20);
  auto [items, error] = blame(_file);
  auto [history, historyError] = historyOf(workingCopy(), {});
  std::map<std::string, QRBSourceControlLogItemPtr> byRevision;
  for (const auto& item : history) byRevision[item->revision()->identifier().str()] = item;
  std::map<std::string, const void*> seen;
  const void* before = nullptr;
  ASSERT_GT(items.size(), 10u);
  for (const auto& item : items) {
    auto log = item->logItem();
    std::string name = log->revision()->identifier().str();
    EXPECT_TRUE(log->isEqual(byRevision[name])) << "the same message and date, so that hosts know it again";
    EXPECT_EQ(seen.emplace(name, log.get()).first->second, log.get()) << name;
    EXPECT_NE(before, log.get()) << "neighbours of one commit are one item";
    before = log.get();
  }
}

TEST_F(GitPlugInBlameTest, whatCannotBeBlamedIsTold) {
  _repository.write("file", "1\n");
  _repository.write("folder/x", "1\n");
  _repository.write("empty", "");
  _repository.commit("one");
  _repository.write("untracked", "1\n");
  EXPECT_TRUE(std::get<0>(blame("empty")).empty());
  EXPECT_FALSE(std::get<1>(blame("empty")));
  for (const char* file : {"missing", "untracked", "folder", ".", "", "../x", "/etc/passwd", ".git/config", "-L1,2"}) {
    auto [items, error] = blame(file);
    EXPECT_TRUE(has(error, Code::pathNotFound)) << file << ": " << error.description();
    EXPECT_TRUE(items.empty());
  }
  const struct {
    QRBSourceControlRevisionLocationPtr location;
    Code code;
  } locations[] = {
      {at("nothing"), Code::revisionNotFound},
      {at("-L1,1"), Code::revisionNotFound},
      {at("HEAD..HEAD"), Code::revisionNotFound},
      {at("--contents=/etc/passwd"), Code::revisionNotFound},
      {QRBSourceControlBranch::initWithBranchName("missing", false), Code::branchNotFound},
      {QRBSourceControlTag::initWithTagName("--reverse"), Code::tagNotFound},
  };
  for (const auto& each : locations) {
    auto [items, error] = blame("file", each.location);
    EXPECT_TRUE(has(error, each.code)) << each.location->description() << ": " << error.description();
  }
  _repository.run({"checkout", "-q", "--orphan", "fresh"});
  EXPECT_TRUE(has(std::get<1>(blame("file")), Code::revisionNotFound)) << "nothing is committed yet";
}

}  // namespace
}  // namespace qrb::test
