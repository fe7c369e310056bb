#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "GitCommands.h"
#include "GitLogParser.h"
#include "GitPaths.h"
#include "QRBSourceControlForward.h"

/// Searches the records of a history where git itself could not.
class GitHistoryFilter {
 public:
  explicit GitHistoryFilter(const GitHistoryRequest& request);
  bool accepts(const GitLogRecord& record) const;

 private:
  bool contains(std::string_view text) const;

  std::uint64_t _searchType;
  std::string _searchString;
};

/// Makes log items of a history while git prints it, and hands them on in batches: the first as soon as there is one,
/// later ones the larger the more there have been. Texts beyond qrb::listedTextBounds come shortened, but where a
/// maximum of one or two items was asked for, only those beyond qrb::singleTextBounds.
class GitHistoryReader {
 public:
  using Items = std::vector<QRBSourceControlLogItemPtr>;
  /// Gets the items since the last call, and the fraction done: 0 where nobody knows the whole.
  using OnBatch = std::function<void(const Items& batch, double fraction)>;

  GitHistoryReader(const GitHistoryRequest& request, bool filters, QRBSourceControlWorkingCopyPtr workingCopy,
                   OnBatch onBatch);

  /// Reads one piece of git's output. False: enough was read, or it is not git's output (see error()).
  bool feed(std::string_view bytes);
  /// To be called once git has ended; false as feed().
  bool finish();
  const std::optional<qrb::ParseError>& error() const { return _parser.error(); }
  /// Every item so far, those handed on included.
  const Items& items() const { return _items; }
  /// Git has found nothing, whatever was searched for.
  bool isEmpty() const { return !_hasSome; }

 private:
  void take(const GitLogRecord& record);
  QRBSourceControlLogItemPtr makeItem(const GitLogRecord& record);
  const QRBSourceControlAuthorPtr& authorOf(const GitLogRecord& record);
  bool isFull() const;
  void sendBatch(bool isLast);

  const std::uint64_t _inclusionType;
  const std::int64_t _maximum;
  const std::optional<GitHistoryFilter> _filter;
  const QRBSourceControlWorkingCopyPtr _workingCopy;
  const OnBatch _onBatch;
  GitLogParser _parser;
  GitTexts _paths;
  std::unordered_map<std::string, QRBSourceControlAuthorPtr> _authors;
  std::string _authorKey;
  Items _items;
  std::size_t _sent = 0;
  bool _hasSome = false;
};
