#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "GitRepository.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlManager.h"
#include "QRBSourceControlModelPrivate.h"
#include "QRBSourceControlStatusValues.h"
#include "ValuePrinters.h"

namespace qrb::test {

using Code = QRBSourceControlErrorCode;
using LogItems = std::vector<QRBSourceControlLogItemPtr>;
using Words = std::set<std::string>;

/// Whether an error is of this library's domain and of that code.
inline bool has(const Error& error, Code code) {
  return error.domain() == String(QRBSourceControlErrorDomain) && error.code() == static_cast<std::int64_t>(code);
}

/// A request's completion as a future of all its values; only a request that never settles waits so long.
template <class... Values>
class Reply {
 public:
  auto completion() {
    return [promise = _promise](const Values&... values, const Error& error) {
      promise->set_value({values..., error});
    };
  }
  std::tuple<Values..., Error> wait() {
    auto future = _promise->get_future();
    if (future.wait_for(std::chrono::seconds(60)) != std::future_status::ready) {
      throw std::runtime_error("the request never settled");
    }
    return future.get();
  }

 private:
  std::shared_ptr<std::promise<std::tuple<Values..., Error>>> _promise =
      std::make_shared<std::promise<std::tuple<Values..., Error>>>();
};

/// What a history request is asked for; the defaults ask for everything.
struct HistoryQuery {
  QRBSourceControlRevisionPtr from;
  QRBSourceControlRevisionPtr to;
  std::uint64_t inclusionType = 0;
  std::int64_t maximum = 0;
  String searchString;
  std::uint64_t searchType = 0;
  String file;
  QRBSourceControlIncrementalLogBlock onBatch;
};

/// Asks the Git plug-in through a process of its own for each request, as a host does.
class GitPlugInTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    // The plug-in hands these on to git: the configuration of whoever runs the tests must not matter.
    ::setenv("GIT_CONFIG_GLOBAL", "/dev/null", 1);
    ::setenv("GIT_CONFIG_NOSYSTEM", "1", 1);
  }

  static QRBSourceControlSystemPtr system() {
    return QRBSourceControlSystem::initWithName("Git", "org.qrb.Orlix.sourcecontrol.Git", "0", ".git", {}, true, true,
                                                false, false, false, 7);
  }
  static QRBSourceControlRepositoryPtr repositoryAt(const std::string& path) {
    return QRBSourceControlRepository::initWithURL(URL::fileURL(path, true), system());
  }
  static QRBSourceControlWorkingCopyPtr workingCopyAt(const std::string& path) {
    return QRBSourceControlWorkingCopy::initWithFileURLUnidentifiableRepository(URL::fileURL(path, true),
                                                                                repositoryAt(path));
  }
  static const QRBSourceControlManagerPtr& manager() { return QRBSourceControlManager::sharedInstance(); }

  /// Local status, remote status, error.
  static auto statusOf(const std::string& root, bool withRemoteStatus = false) {
    Reply<QRBSourceControlPathStatusesPtr, QRBSourceControlPathStatusesPtr> reply;
    manager()->filesAndStatusOfWorkingCopy(workingCopyAt(root), withRemoteStatus, reply.completion());
    return reply.wait();
  }
  /// The status as words, which fails the test where there is none.
  static std::map<std::string, Words> statusWordsOf(const std::string& root) {
    auto [local, remote, error] = statusOf(root);
    EXPECT_FALSE(error) << error.description();
    return local ? wordsOf(*local) : std::map<std::string, Words>();
  }
  static std::map<std::string, Words> wordsOf(const QRBSourceControlPathStatuses& statuses) {
    std::map<std::string, Words> result;
    for (const auto& [path, status] : statuses) {
      Words& words = result[path.str()];
      for (std::string_view word : QRBSourceControlStatusWords(status)) words.emplace(word);
    }
    return result;
  }

  static std::tuple<LogItems, Error> historyOf(const QRBSourceControlWorkingCopyPtr& workingCopy,
                                               const HistoryQuery& query = {}) {
    Reply<LogItems> reply;
    if (query.file) {
      auto from = query.from ? QRBSourceControlRevisionLocation::initWithRevision(query.from) : nullptr;
      manager()->historyOfFile(query.file, workingCopy, from, query.to, query.inclusionType, query.maximum,
                               query.searchString, query.searchType, query.onBatch, reply.completion());
    } else {
      manager()->historyOfWorkingCopy(workingCopy, query.from, query.to, query.inclusionType, query.maximum,
                                      query.searchString, query.searchType, query.onBatch, reply.completion());
    }
    return reply.wait();
  }
  /// The revisions of a history, which fails the test where there is an error.
  static std::vector<std::string> revisionsOf(const std::string& root, const HistoryQuery& query = {}) {
    auto [items, error] = historyOf(workingCopyAt(root), query);
    EXPECT_FALSE(error) << error.description();
    return identifiersOf(items);
  }
  static std::vector<std::string> identifiersOf(const LogItems& items) {
    std::vector<std::string> result;
    for (const auto& item : items) result.push_back(item->revision()->identifier().str());
    return result;
  }

  static auto locationOf(const std::string& root) {
    Reply<QRBSourceControlRevisionLocationPtr> reply;
    manager()->currentLocationOfWorkingCopy(workingCopyAt(root), reply.completion());
    return reply.wait();
  }
  static auto identifierOf(const std::string& root) {
    auto workingCopy = workingCopyAt(root);
    Reply<> reply;
    workingCopy->updateRepositoryIdentifierWithCompletionBlock(reply.completion());
    Error error = std::get<0>(reply.wait());
    return std::tuple(workingCopy->repository()->identifier(), error);
  }

  static QRBSourceControlRevisionPtr revision(const std::string& identifier) {
    return QRBSourceControlRevision::initWithIdentifier(identifier);
  }
  static std::string underlyingMessage(const Error& error) {
    return error.userInfo(QRBSourceControlUnderlyingErrorString).str();
  }
  static std::vector<std::string> split(const std::string& text, char delimiter) {
    std::vector<std::string> result;
    for (std::size_t begin = 0; begin < text.size();) {
      std::size_t end = std::min(text.find(delimiter, begin), text.size());
      result.push_back(text.substr(begin, end - begin));
      begin = end + 1;
    }
    return result;
  }
};

}  // namespace qrb::test
