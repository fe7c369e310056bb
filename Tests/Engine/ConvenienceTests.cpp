#include "MainThreadExecutor.h"
#include "QRBSourceControlBasicAuthenticationStrategy.h"
#include "RecorderTesting.h"

namespace qrb::test {
namespace {

// What model objects do with the replies to the requests that they hand on.
using ConvenienceTest = RecorderTest;

QRBSourceControlLogItemPtr logItem(QRBSourceControlRevisionPtr revision, const char* message = "message") {
  return QRBSourceControlLogItem::initWithAuthor(QRBSourceControlAuthor::initWithUsername("author", "a@example.org"),
                                                 std::move(revision), Date(std::chrono::seconds(1)), message, nullptr);
}

TEST_F(ConvenienceTest, ASwitchAnswersTheLocationAskedForAndCachesTheOneReached) {
  auto asked = QRBSourceControlBranch::initWithBranchName("asked", false, false);
  auto reached = QRBSourceControlBranch::initWithBranchName("reached", false, false);
  for (const Error& error : {Error("d", -1), Error()}) {
    writeReply(std::make_tuple(QRBSourceControlRevisionLocationPtr(reached)), error);
    auto copy = workingCopy();
    auto outcome = Outcome<QRBSourceControlRevisionLocationPtr>::make();
    copy->switchLocation(asked, outcome->completion());
    EXPECT_EQ(std::get<0>(outcome->wait()), asked);
    EXPECT_EQ(copy->cachedCurrentLocation() != nullptr && copy->cachedCurrentLocation()->isEqual(reached), !error);

    auto current = Outcome<QRBSourceControlRevisionLocationPtr>::make();
    auto other = workingCopy();
    other->currentLocationWithCompletionBlock(current->completion());
    auto [location, failure] = current->wait();
    EXPECT_EQ(location, other->cachedCurrentLocation());
    EXPECT_EQ(failure, error);
  }
}

TEST_F(ConvenienceTest, AnIdentifierIsStoredOnlyWhenThereIsOne) {
  struct Case {
    String reply;
    Error error;
    String expected;
  };
  for (const Case& each : {Case{"new", {}, "new"}, Case{"", {}, {}}, Case{"new", Error("d", -1), {}}}) {
    writeReply(std::make_tuple(each.reply), each.error);
    auto copy = workingCopy();
    auto outcome = Outcome<>::make();
    copy->updateRepositoryIdentifierWithCompletionBlock(outcome->completion());
    EXPECT_EQ(outcome->error(), each.error);
    EXPECT_EQ(copy->repository()->identifier(), each.expected);
  }
}

TEST_F(ConvenienceTest, ALogItemIsCompletedByExactlyOneReply) {
  auto whole = logItem(QRBSourceControlRevision::initWithIdentifier("a"), "the whole message");
  for (std::size_t count : {0u, 1u, 2u}) {
    writeReply(std::make_tuple(std::vector<QRBSourceControlLogItemPtr>(count, whole)), Error());
    auto item = QRBSourceControlLogItem::initIncompleteLogItemWithAuthor(whole->author(), whole->revision(),
                                                                         Date(std::chrono::seconds(1)), workingCopy());
    auto outcome = Outcome<>::make();
    QRBSourceControlLogItem::loadCompleteLogItemWithCompletionBlock(item, outcome->completion());
    // Only the main thread changes the item.
    while (outcome->calls() == 0) drainMainQueue(std::chrono::milliseconds(1));
    EXPECT_EQ(outcome->error().code(), count == 1 ? 0 : -251);
    EXPECT_EQ(item->isComplete(), count == 1);
    EXPECT_EQ(item->message().view(), count == 1 ? "the whole message" : "");
  }
}

// For the thread sanitizer: sixteen threads look at what replies replace under them.
TEST_F(ConvenienceTest, ObjectsMayBeReadByAnyThreadWhileRequestsRefillThem) {
  auto copy = workingCopy();
  auto remote = QRBSourceControlRemoteRepository::initUnsavedWithURL(URL("https://server/team/repo.git"), system());
  auto strategy = QRBSourceControlBasicAuthenticationStrategy::initWithUsername("user", "password");
  writeReply(std::make_tuple(std::make_shared<const QRBSourceControlPathStatuses>(
                                 QRBSourceControlPathStatuses{{"a", std::uint64_t{4}}, {"b", std::uint64_t{4}}}),
                             QRBSourceControlPathStatusesPtr()),
             Error());
  std::atomic<bool> over = false;
  std::atomic<std::size_t> torn = 0;
  std::vector<std::thread> readers;
  for (int number = 0; number < 16; ++number) {
    readers.emplace_back([&, number] {
      while (!over) {
        // A refill is seen whole or not at all.
        auto paths = copy->cachedPathsWithLocalStatus();
        if (paths.size() != 0 && paths.size() != 2) ++torn;
        (void)copy->cachedSourceControlLocalStatusForFile("a");
        (void)copy->repository()->_id();
        copy->set_id(std::to_string(number));
        (void)copy->_id();
        (void)copy->cachedCurrentLocation();
        remote->setAuthenticationStrategy(strategy);
        (void)remote->authenticationStrategy()->description();
      }
    });
  }
  for (int round = 0; round < 20; ++round) {
    auto outcome = Outcome<QRBSourceControlPathStatusesPtr, QRBSourceControlPathStatusesPtr>::make();
    copy->filesAndStatusWithRemoteStatus(false, outcome->completion());
    EXPECT_FALSE(outcome->error());
  }
  over = true;
  for (std::thread& reader : readers) reader.join();
  EXPECT_EQ(torn, 0u);
}

}  // namespace
}  // namespace qrb::test
