#pragma once

#include <functional>
#include <optional>
#include <string>

#include "HistoryBatches.h"
#include "QRBSourceControlForward.h"
#include "SharedTexts.h"
#include "SubversionValues.h"
#include "TextBounds.h"

/// A host's request for a history.
struct SubversionHistoryRequest {
  std::uint64_t inclusionType = 0;
  std::int64_t maximum = 0;
  std::string searchString = {};
  std::uint64_t searchType = 0;
  /// The path of the working copy below the repository's root. Paths are told relative to what that was called in each
  /// revision; those that lie elsewhere are left out, since hosts take paths for those of files in the working copy.
  std::string folder = {};
  /// Tells what it was called when; asked at most once, when a revision changed nothing in it by its present name.
  std::function<std::vector<SubversionSegment>()> segments = {};
};

/// Makes log items of a history as it comes and hands them on in batches. Texts come shortened as those of every
/// plug-in: see TextBounds.h.
class SubversionHistoryItems {
 public:
  SubversionHistoryItems(const SubversionHistoryRequest& request, QRBSourceControlWorkingCopyPtr workingCopy,
                         qrb::HistoryBatches::OnBatch onBatch);

  /// False once there are enough.
  bool take(const SubversionLogEntry& entry);
  void finish() { _batches.send(true); }
  const qrb::HistoryBatches::Items& items() const { return _batches.items(); }
  bool needsMessages() const;
  bool needsChanges() const;
  bool searches() const { return _search.has_value(); }

 private:
  bool isWanted(const SubversionLogEntry& entry, const std::string& revision) const;
  QRBSourceControlLogItemPtr makeItem(const SubversionLogEntry& entry, const std::string& revision);
  /// The working copy's folder as it was called in the entry's revision.
  std::string_view folderOf(const SubversionLogEntry& entry);

  const SubversionHistoryRequest _request;
  const std::optional<qrb::HistorySearch> _search;
  const QRBSourceControlWorkingCopyPtr _workingCopy;
  std::optional<std::vector<SubversionSegment>> _segments;
  qrb::TextAllowance _allowance;
  qrb::SharedTexts _paths;
  qrb::SharedAuthors _authors;
  qrb::HistoryBatches _batches;
};

/// A text within what is left of an allowance.
std::string subversionShortened(std::string_view text, qrb::TextAllowance& allowance);
/// How whoever committed is called where nobody logged in.
std::string_view subversionAuthorName(std::string_view author);
