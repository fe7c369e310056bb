#include <filesystem>

#include "GitPlugInTesting.h"
#include "QRBSourceControlHistoryTypes.h"
#include "QRBSourceControlTag.h"

namespace qrb::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Four commits: "first" by Ada, "Zwölf (.*)" by Bob, "third" that renames, "fourth".
class GitHistory : public GitPlugInTest {
 protected:
  void SetUp() override {
    _repository.write("docs/Old Name", text());
    _first = _repository.commit("first");
    _repository.setEnvironment("GIT_AUTHOR_NAME", "Bob Ündertow");
    _repository.setEnvironment("GIT_AUTHOR_EMAIL", "bob@example.net");
    _repository.write("docs/Old Name", text() + "more\n");
    _second = _repository.commit("Zwölf (.*)");
    _repository.run({"mv", "docs/Old Name", "new"});
    _third = _repository.commit("third");
    _repository.write("new", text() + "still more\n");
    _repository.write("other", "");
    _fourth = _repository.commit("fourth");
  }

  static std::string text() {
    std::string result;
    for (int line = 0; line < 30; ++line) result += "line " + std::to_string(line) + "\n";
    return result;
  }
  std::vector<std::string> revisions(const HistoryQuery& query) { return revisionsOf(_repository.root(), query); }
  std::vector<std::string> found(const char* text, std::uint64_t type, const char* file = nullptr) {
    HistoryQuery query;
    query.searchString = text;
    query.searchType = type;
    query.file = file;
    return revisions(query);
  }

  GitRepository _repository;
  std::string _first, _second, _third, _fourth;
};

TEST_F(GitHistory, searchesTextAsItStandsWithoutRegardToCase) {
  EXPECT_THAT(found("FIRST", QRBSourceControlHistorySearchDefault), ElementsAre(_first));
  EXPECT_THAT(found("zwölf (.*", QRBSourceControlHistorySearchMessage), ElementsAre(_second));
  EXPECT_THAT(found("z.*f", QRBSourceControlHistorySearchMessage), IsEmpty());
  EXPECT_THAT(found("ADA@", QRBSourceControlHistorySearchAuthor), ElementsAre(_first));
  EXPECT_THAT(found("bob ü", QRBSourceControlHistorySearchAuthor), ElementsAre(_fourth, _third, _second));
  EXPECT_THAT(found("OTHER", QRBSourceControlHistorySearchPath), ElementsAre(_fourth));
  EXPECT_THAT(found("docs/old n", QRBSourceControlHistorySearchPath), ElementsAre(_third, _second, _first));
  EXPECT_THAT(found(_third.substr(0, 12).c_str(), QRBSourceControlHistorySearchRevision), ElementsAre(_third));
  EXPECT_THAT(found("0123456789abcdef", QRBSourceControlHistorySearchRevision), IsEmpty());
}

TEST_F(GitHistory, anItemFoundByPathListsAllItsPaths) {
  HistoryQuery query;
  query.searchString = "other";
  query.searchType = QRBSourceControlHistorySearchPath;
  auto [items, error] = historyOf(workingCopyAt(_repository.root()), query);
  ASSERT_EQ(items.size(), 1u);
  EXPECT_TRUE(items[0]->pathsWithStatus()->contains("new"));
}

TEST_F(GitHistory, searchesInTheHistoryOfAFileAcrossItsRenames) {
  EXPECT_THAT(found(nullptr, 0, "new"), ElementsAre(_fourth, _third, _second, _first));
  EXPECT_THAT(found("first", QRBSourceControlHistorySearchMessage, "new"), ElementsAre(_first));
  EXPECT_THAT(found("BOB Ü", QRBSourceControlHistorySearchAuthor, "new"), ElementsAre(_fourth, _third, _second));
  EXPECT_THAT(found("old name", QRBSourceControlHistorySearchPath, "new"), ElementsAre(_third, _second, _first));
  HistoryQuery query;
  query.file = "new";
  query.searchString = "bob";
  query.searchType = QRBSourceControlHistorySearchAuthor;
  query.maximum = 2;
  EXPECT_THAT(revisions(query), ElementsAre(_fourth, _third));
  query = {};
  query.file = "new";
  query.inclusionType = QRBSourceControlHistoryWithoutFollowingRenames;
  EXPECT_THAT(revisions(query), ElementsAre(_fourth, _third));
}

TEST_F(GitHistory, rangesTakeTheNewestInAndLeaveTheEndOut) {
  auto initial = QRBSourceControlRevision::sharedInitialRevision();
  auto base = QRBSourceControlRevision::sharedBaseRevision();
  auto head = QRBSourceControlRevision::sharedHeadRevision();
  const struct {
    QRBSourceControlRevisionPtr from, to;
    std::vector<std::string> expected;
  } ranges[] = {
      {nullptr, nullptr, {_fourth, _third, _second, _first}},
      {head, initial, {_fourth, _third, _second, _first}},
      {revision(_third), revision(_first), {_third, _second}},
      {revision(_second), initial, {_second, _first}},
      {base, revision(_third), {_fourth}},
      {revision(_third), base, {}},
      {QRBSourceControlRevision::sharedUnversionedRevision(), revision(_third), {_fourth}},
  };
  for (const auto& range : ranges) {
    HistoryQuery query;
    query.from = range.from;
    query.to = range.to;
    EXPECT_EQ(revisions(query), range.expected);
  }
}

TEST_F(GitHistory, theFileOfALocationIsItsOwnWhateverIsCheckedOut) {
  _repository.run({"tag", "-a", "-m", "t", "v1", _second});
  _repository.run({"checkout", "-q", "-b", "side", _first});
  _repository.write("docs/Old Name", text() + "side\n");
  std::string side = _repository.commit("side");
  auto at = [](const std::string& name) { return QRBSourceControlRevisionLocation::initWithRevision(revision(name)); };
  auto branch = [](const char* name) { return QRBSourceControlBranch::initWithBranchName(name, false); };
  const struct {
    const char* file;
    QRBSourceControlRevisionLocationPtr location;
    std::vector<std::string> history;
    /// The revision of the last line.
    std::string last;
  } rows[] = {
      {"new", branch("main"), {_fourth, _third, _second, _first}, _fourth},
      {"new", at(_third), {_third, _second, _first}, _second},
      {"new", branch("main")->locationWithRevision(revision(_third)), {_third, _second, _first}, _second},
      {"docs/Old Name", QRBSourceControlTag::initWithTagName("v1"), {_second, _first}, _second},
      {"docs/Old Name", at(_first.substr(0, 10)), {_first}, _first},
      {"docs/Old Name", nullptr, {side, _first}, side},
  };
  for (const auto& row : rows) {
    std::string what = row.location ? row.location->description() : "nowhere";
    Reply<LogItems> history;
    manager()->historyOfFile(row.file, workingCopyAt(_repository.root()), row.location, nullptr, 0, 0, nullptr, 0, {},
                             history.completion());
    auto [items, error] = history.wait();
    EXPECT_FALSE(error) << what << error.description();
    EXPECT_EQ(identifiersOf(items), row.history) << what;
    Reply<std::vector<QRBSourceControlBlameItemPtr>> blame;
    manager()->blameFile(row.file, workingCopyAt(_repository.root()), row.location, blame.completion());
    auto [runs, blameError] = blame.wait();
    ASSERT_FALSE(runs.empty()) << what << blameError.description();
    EXPECT_EQ(runs.back()->logItem()->revision()->identifier().str(), row.last) << what;
    EXPECT_EQ(runs.front()->logItem()->revision()->identifier().str(), _first) << what;
  }
}

TEST_F(GitHistory, loadsNoMoreThanAskedFor) {
  auto workingCopy = workingCopyAt(_repository.root());
  HistoryQuery query;
  query.inclusionType = QRBSourceControlHistoryWithoutMessage;
  auto [bare, bareError] = historyOf(workingCopy, query);
  ASSERT_EQ(bare.size(), 4u);
  EXPECT_FALSE(bare[2]->isComplete());
  EXPECT_EQ(bare[2]->author()->name(), String("Bob Ündertow"));
  query.inclusionType = QRBSourceControlHistoryWithoutPaths;
  auto [light, lightError] = historyOf(workingCopy, query);
  ASSERT_EQ(light.size(), 4u);
  EXPECT_EQ(light[2]->message(), String("Zwölf (.*)"));
  EXPECT_FALSE(light[2]->pathsWithStatus());
}

TEST_F(GitHistory, aMessageOfUnreasonableLengthComesWholeOnItsOwnAndShortenedAmongOthers) {
  std::string message((std::size_t{5} << 20) / 2, 'x');
  _repository.write("message", message);
  _repository.write("new", text() + "by a long message\n");
  _repository.run({"commit", "-qa", "-F", "message"});
  auto [items, error] = historyOf(workingCopyAt(_repository.root()));
  ASSERT_EQ(items.size(), 5u) << error.description();
  String listed = items[0]->message();
  EXPECT_TRUE(listed == String(message.substr(0, 1 << 20) + "… [1572865 bytes more]"));
  HistoryQuery query;
  query.from = items[0]->revision();
  query.maximum = 1;
  auto [alone, aloneError] = historyOf(workingCopyAt(_repository.root()), query);
  ASSERT_EQ(alone.size(), 1u) << aloneError.description();
  EXPECT_TRUE(alone[0]->message() == String(message));
  Reply<std::vector<QRBSourceControlBlameItemPtr>> blame;
  workingCopyAt(_repository.root())->blameFile("new", QRBSourceControlRevisionLocationPtr(), blame.completion());
  auto [runs, blameError] = blame.wait();
  ASSERT_EQ(runs.size(), 2u) << blameError.description();
  EXPECT_TRUE(runs[1]->logItem()->message() == listed);
}

TEST_F(GitHistory, aRevisionThatIsNotThereIsNamedInTheError) {
  for (std::string name : {"no-such-branch", "--output=evil", "main..HEAD", "HEAD:new"}) {
    HistoryQuery query;
    query.from = revision(name);
    auto [items, error] = historyOf(workingCopyAt(_repository.root()), query);
    EXPECT_EQ(error.code(), static_cast<std::int64_t>(QRBSourceControlErrorCode::revisionNotFound)) << name;
    EXPECT_NE(underlyingMessage(error).find(name), std::string::npos) << underlyingMessage(error);
    EXPECT_THAT(items, IsEmpty());
  }
  EXPECT_FALSE(std::filesystem::exists(_repository.pathOf("evil")));
}

TEST_F(GitHistory, equalAuthorsArriveAsOneObject) {
  auto [items, error] = historyOf(workingCopyAt(_repository.root()));
  ASSERT_EQ(items.size(), 4u);
  EXPECT_EQ(items[0]->author(), items[2]->author());
  EXPECT_NE(items[0]->author(), items[3]->author());
}

/// Makes many commits quickly.
void makeLongHistory(GitRepository& repository, int count) {
  std::string script = "blob\nmark :1\ndata 1\nx\n";
  for (int number = 0; number < count; ++number) {
    std::string message = "commit " + std::to_string(number);
    script += "commit refs/heads/main\ncommitter A <a@b> " + std::to_string(1'700'000'000 + number) + " +0000\ndata " +
              std::to_string(message.size()) + "\n" + message + "\nM 100644 :1 file" + std::to_string(number % 50) +
              "-" + std::to_string(number) + "\n";
  }
  repository.write("../import", script);
  std::string command = "git fast-import --quiet < '" + repository.beside("import") + "'";
  ProgramResult result = runProgram({"sh", "-c", command}, repository.environment(), repository.root());
  ASSERT_EQ(result.status, 0) << result.output;
}

TEST_F(GitPlugInTest, batchesComeInOrderAndMakeUpTheReply) {
  GitRepository repository;
  makeLongHistory(repository, 3000);
  for (std::int64_t maximum : {0, 1200}) {
    HistoryQuery query;
    query.maximum = maximum;
    LogItems streamed;
    std::vector<std::size_t> sizes;
    std::vector<double> fractions;
    query.onBatch = [&](const LogItems& batch, double fraction) {
      streamed.insert(streamed.end(), batch.begin(), batch.end());
      sizes.push_back(batch.size());
      fractions.push_back(fraction);
    };
    auto [items, error] = historyOf(workingCopyAt(repository.root()), query);
    ASSERT_FALSE(error) << error.description();
    EXPECT_EQ(items.size(), maximum == 0 ? 3000u : 1200u);
    EXPECT_EQ(streamed, items) << "the reply holds other objects than were streamed";
    ASSERT_GT(sizes.size(), 2u);
    EXPECT_LT(sizes.front(), 100u) << "the first batch is meant to be quick";
    EXPECT_TRUE(std::is_sorted(fractions.begin(), fractions.end()));
    EXPECT_EQ(fractions.back(), maximum == 0 ? 0.0 : 1.0);
  }
}

TEST_F(GitPlugInTest, aRareFindIsStreamedOnItsOwn) {
  GitRepository repository;
  makeLongHistory(repository, 500);
  HistoryQuery query;
  query.searchString = "commit 499";
  query.searchType = QRBSourceControlHistorySearchMessage;
  std::size_t batches = 0;
  query.onBatch = [&](const LogItems& batch, double) { batches += batch.size() == 1 ? 1 : 100; };
  auto [items, error] = historyOf(workingCopyAt(repository.root()), query);
  EXPECT_EQ(items.size(), 1u);
  EXPECT_EQ(batches, 1u);
}

}  // namespace
}  // namespace qrb::test
