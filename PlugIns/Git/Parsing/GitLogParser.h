#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "GitChange.h"
#include "RecordParser.h"

/// One commit of a history. The views last until the sink returns.
struct GitLogRecord {
  /// The object name in full, in hexadecimal digits.
  std::string_view hash;
  /// The parents' object names, a blank between two; empty for a root.
  std::string_view parents;
  /// When it was written, in seconds since 1 January 1970 UTC; 0 where the commit holds no date that can be read.
  std::int64_t authorDate = 0;
  /// Bytes: UTF-8 in all but ill-made commits. Empty where the commit names none.
  std::string_view authorName;
  std::string_view authorEmail;
  /// Subject and body as committed, with the line feeds they end with. Empty when the history was asked for without.
  std::string_view message;
  /// What the commit changed; none for a merge unless it was asked for, none when the history was asked for without.
  std::span<const GitChange> changes;
};

/// The `--format` whose output GitLogParser reads. NUL ends every field: no field can hold one, whatever a commit is
/// made of. `-z` adds the last one and ends the paths in the same way.
inline constexpr std::string_view gitLogFormat = "--format=tformat:%H%x00%P%x00%at%x00%aN%x00%aE%x00%B";
/// Leaves every message empty.
inline constexpr std::string_view gitLogFormatWithoutMessage = "--format=tformat:%H%x00%P%x00%at%x00%aN%x00%aE%x00";

/// Reads the output of the history commands (gitLogFormat, `-z`, with or without `--name-status`) as it arrives. A
/// commit is whole when the next one begins or the output ends, for only then is it known that no further path follows.
class GitLogParser final : public qrb::RecordParser<GitLogRecord> {
 public:
  /// The bounds of one text hold for messages only.
  explicit GitLogParser(qrb::TextBounds bounds = qrb::listedTextBounds)
      : RecordParser('\0'), _longestMessage(bounds.each) {
    _buffer.setBounds({qrb::listedTextBounds.each, bounds.together});
  }

  /// To be called at the end of the output, for the last commit. False when the output is malformed or ends inside a
  /// commit.
  template <class Sink>
  bool finish(Sink&& sink) {
    if (finishRecord()) sink(static_cast<const GitLogRecord&>(_record));
    return !_error;
  }

 private:
  /// The fields of the format in their order, then the changes.
  enum Awaits : std::uint8_t {
    hash,
    parents,
    date,
    name,
    email,
    message,
    firstChange,
    furtherChange,
    path,
    secondPath
  };

  bool next() override;
  bool atChange();
  bool take(qrb::TokenSpan token);
  bool takeHash(qrb::TokenSpan token);
  bool takePath(qrb::TokenSpan token);
  bool finishRecord();
  void completeRecord();
  bool fail(const char* what);

  const std::size_t _longestMessage;
  Awaits _awaits = Awaits::hash;
  std::array<qrb::TokenSpan, 6> _fields;
  std::vector<GitPendingChange> _pending;
  std::vector<GitChange> _changes;
};
