#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <condition_variable>
#include <future>
#include <mutex>
#include <thread>

#include "Codec.h"
#include "Connection.h"

namespace qrb {
namespace {

constexpr std::chrono::seconds kPatience{60};

void writeNumber(ArchiveWriter& writer, std::uint64_t number) {
  writer.writeArrayHeader(1);
  writer.writeUnsigned(number);
}

// Two ends in one process. The far end answers each request with its argument, when it is let.
class ConnectionTest : public testing::Test {
 protected:
  void SetUp() override { open({}, {}); }
  void TearDown() override {
    near->invalidate();
    far->invalidate();
  }

  void open(Connection::Options nearOptions, Connection::Options farOptions) {
    DescriptorPair sockets = makeSocketPair();
    ASSERT_TRUE(sockets);
    near = Connection::make(std::move(sockets.first), {}, std::move(nearOptions));
    far = Connection::make(std::move(sockets.second), {}, std::move(farOptions));
  }

  void serveEcho() {
    std::weak_ptr<Connection> weak = far;
    far->setCallHandler([weak](const Connection::IncomingCall& call) {
      auto connection = weak.lock();
      if (connection == nullptr || !call.identifier) return;
      std::uint64_t number = call.arguments.element(0).unsignedInteger();
      connection->sendResponse(*call.identifier, {}, [&](ArchiveWriter& writer) { writeNumber(writer, number); });
    });
    far->resume();
  }

  std::shared_ptr<Connection> near;
  std::shared_ptr<Connection> far;
};

TEST_F(ConnectionTest, RepliesFindTheirRequestsWhoeverSendsThem) {
  serveEcho();
  near->resume();
  std::atomic<int> right = 0;
  std::atomic<int> settled = 0;
  std::promise<void> done;
  constexpr int kThreads = 8;
  constexpr int kEach = 500;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&, thread] {
      for (int index = 0; index < kEach; ++index) {
        auto number = static_cast<std::uint64_t>(thread * kEach + index);
        auto settle = [&] {
          if (++settled == kThreads * kEach) done.set_value();
        };
        near->sendRequest(
            "echo", [&](ArchiveWriter& writer) { writeNumber(writer, number); },
            [&, number, settle](ArchiveNode error, ArchiveNode result) {
              if (error.isNil() && result.element(0).unsignedInteger() == number) ++right;
              settle();
            },
            settle);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  ASSERT_EQ(done.get_future().wait_for(kPatience), std::future_status::ready);
  EXPECT_EQ(right, kThreads * kEach);
}

TEST_F(ConnectionTest, MessagesLargerThanAnySocketBufferCrossBothWaysAtOnceWithoutADeadlock) {
  std::string large(std::size_t{8} << 20, 'x');
  constexpr int kMessages = 8;
  std::promise<void> nearDone;
  std::promise<void> farDone;
  auto receive = [&](std::promise<void>& done) {
    return [&done, &large, count = 0](const Connection::IncomingCall& call) mutable {
      EXPECT_EQ(call.arguments.element(0).stringView(), large);
      if (++count == kMessages) done.set_value();
    };
  };
  near->setCallHandler(receive(nearDone));
  far->setCallHandler(receive(farDone));
  near->resume();
  far->resume();
  auto sendAll = [&](Connection& connection) {
    for (int index = 0; index < kMessages; ++index) {
      connection.sendNotification("large", [&](ArchiveWriter& writer) {
        writer.writeArrayHeader(1);
        writer.writeString(large);
      });
    }
  };
  std::thread nearSender([&] { sendAll(*near); });
  std::thread farSender([&] { sendAll(*far); });
  nearSender.join();
  farSender.join();
  EXPECT_EQ(nearDone.get_future().wait_for(kPatience), std::future_status::ready);
  EXPECT_EQ(farDone.get_future().wait_for(kPatience), std::future_status::ready);
}

TEST_F(ConnectionTest, ASenderToAPeerThatDoesNotReadIsLetGoWhenTheConnectionIsInvalidated) {
  near->resume();  // far is never resumed: nobody reads
  std::atomic<int> sent = 0;
  std::promise<void> ended;
  std::thread sender([&] {
    std::string chunk(std::size_t{64} << 10, 'x');
    while (near->sendNotification("chunk", [&](ArchiveWriter& writer) {
      writer.writeArrayHeader(1);
      writer.writeString(chunk);
    })) {
      ++sent;
    }
    ended.set_value();
  });
  // The socket's buffer and the connection's own hold far fewer than these; more would mean that nothing makes it wait.
  auto over = ended.get_future();
  while (sent < 16) std::this_thread::yield();
  near->invalidate();
  EXPECT_EQ(over.wait_for(kPatience), std::future_status::ready);
  sender.join();
  EXPECT_LT(sent, 200) << "what a sender may have unread is bounded";
}

TEST_F(ConnectionTest, ALossIsToldOnceToEachRequestThatWaitsElseToTheOwner) {
  for (int awaited : {0, 1, 5}) {
    open({}, {});
    int interruptions = 0;
    std::atomic<int> failures = 0;
    std::promise<void> told;
    near->setInterruptionHandler([&] {
      ++interruptions;
      told.set_value();
    });
    for (int index = 0; index < awaited; ++index) {
      near->sendRequest(
          "void", [](ArchiveWriter& writer) { writeNumber(writer, 1); },
          [](ArchiveNode, ArchiveNode) { ADD_FAILURE() << "a reply from nobody"; },
          [&] {
            if (++failures == awaited) told.set_value();
          });
    }
    near->resume();
    far.reset();
    ASSERT_EQ(told.get_future().wait_for(kPatience), std::future_status::ready);
    EXPECT_EQ(interruptions, awaited == 0 ? 1 : 0);
    EXPECT_EQ(failures, awaited);

    bool failedAtOnce = false;
    near->sendRequest(
        "late", [](ArchiveWriter& writer) { writeNumber(writer, 1); }, [](ArchiveNode, ArchiveNode) {},
        [&] { failedAtOnce = true; });
    EXPECT_TRUE(failedAtOnce);
    open({}, {});
  }
}

TEST_F(ConnectionTest, WhatArrivedBeforeThePeersDeathIsReadEvenWhenSomebodyHoldsItsSocketOpen) {
  DescriptorPair sockets = makeSocketPair();
  DescriptorPair death = makePipe();
  FileDescriptor heldOpen(::dup(sockets.second.get()));
  auto connection = Connection::make(std::move(sockets.first), std::move(death.first), {});
  std::atomic<int> received = 0;
  std::promise<int> lost;
  connection->setCallHandler([&](const Connection::IncomingCall&) { ++received; });
  connection->setInterruptionHandler([&] { lost.set_value(received); });
  std::string message("\x93\x02\xa1x\x90", 5);
  ASSERT_TRUE(writeFully(sockets.second.get(), message + message + message.substr(0, 3)));
  death.second.reset();
  connection->resume();
  auto told = lost.get_future();
  ASSERT_EQ(told.wait_for(kPatience), std::future_status::ready);
  EXPECT_EQ(told.get(), 2);
}

TEST_F(ConnectionTest, NoHandlerBeginsAfterAnInvalidationOnItsOwnThread) {
  serveEcho();
  std::atomic<int> replies = 0;
  std::promise<void> first;
  near->setInterruptionHandler([] { ADD_FAILURE() << "an invalidated connection reports nothing"; });
  for (int index = 0; index < 100; ++index) {
    near->sendRequest(
        "echo", [](ArchiveWriter& writer) { writeNumber(writer, 1); },
        [&](ArchiveNode, ArchiveNode) {
          ++replies;
          near->invalidate();
          first.set_value();
        },
        [] { ADD_FAILURE() << "nor does it fail what was dropped"; });
  }
  std::thread reader([&] { near->run(); });
  reader.join();
  EXPECT_EQ(first.get_future().wait_for(kPatience), std::future_status::ready);
  EXPECT_EQ(replies, 1);
  EXPECT_FALSE(near->sendNotification("late", [](ArchiveWriter& writer) { writeNumber(writer, 1); }));
}

TEST_F(ConnectionTest, AKeptConnectionRemembersNothingFromMessageToMessage) {
  Connection::Options kept;
  kept.sharing = Connection::Sharing::perMessage;
  open(kept, kept);
  std::promise<void> done;
  int count = 0;
  far->setCallHandler([&](const Connection::IncomingCall& call) {
    // Each message names its keys again, so each is understood alone.
    EXPECT_EQ(call.arguments.element(0).valueForKey("key").unsignedInteger(), 7u);
    if (++count == 2) done.set_value();
  });
  far->resume();
  near->resume();
  for (int index = 0; index < 2; ++index) {
    near->sendNotification("map", [](ArchiveWriter& writer) {
      writer.writeArrayHeader(1);
      writer.writeMapHeader(1);
      writer.writeKey("key");
      writer.writeUnsigned(7);
    });
  }
  ASSERT_EQ(done.get_future().wait_for(kPatience), std::future_status::ready);
}

}  // namespace
}  // namespace qrb
