#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "GitCommands.h"
#include "GitLogParser.h"
#include "HistoryBatches.h"
#include "QRBSourceControlForward.h"
#include "SharedTexts.h"

/// Makes log items of a history while git prints it, and hands them on in batches. Texts beyond qrb::listedTextBounds
/// come shortened, but where a maximum of one or two items was asked for, only those beyond qrb::singleTextBounds.
class GitHistoryReader {
 public:
  using Items = qrb::HistoryBatches::Items;
  using OnBatch = qrb::HistoryBatches::OnBatch;

  GitHistoryReader(const GitHistoryRequest& request, bool filters, QRBSourceControlWorkingCopyPtr workingCopy,
                   OnBatch onBatch);

  /// Reads one piece of git's output. False: enough was read, or it is not git's output (see error()).
  bool feed(std::string_view bytes);
  /// To be called once git has ended; false as feed().
  bool finish();
  const std::optional<qrb::ParseError>& error() const { return _parser.error(); }
  /// Every item so far, those handed on included.
  const Items& items() const { return _batches.items(); }
  /// Git has found nothing, whatever was searched for.
  bool isEmpty() const { return !_hasSome; }

 private:
  void take(const GitLogRecord& record);
  bool isWanted(const GitLogRecord& record) const;
  QRBSourceControlLogItemPtr makeItem(const GitLogRecord& record);

  const std::uint64_t _inclusionType;
  const std::optional<qrb::HistorySearch> _search;
  const QRBSourceControlWorkingCopyPtr _workingCopy;
  GitLogParser _parser;
  qrb::SharedTexts _paths;
  qrb::SharedAuthors _authors;
  qrb::HistoryBatches _batches;
  bool _hasSome = false;
};
