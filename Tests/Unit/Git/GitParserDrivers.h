#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "GitChange.h"
#include "GitLogParser.h"
#include "GitRefParser.h"
#include "GitStatusParser.h"

// Each reader takes the pieces of a stream in turn and keeps what came out of it as values that can be compared.

struct ReadStatus {
  std::uint64_t status;
  std::string path;
  std::string originalPath;
  int similarity = 0;
  bool operator==(const ReadStatus&) const = default;
};

struct ReadChange {
  char letter;
  std::string path;
  std::string originalPath;
  bool operator==(const ReadChange&) const = default;
};

struct ReadCommit {
  std::string hash;
  std::string parents;
  std::int64_t date;
  std::string name;
  std::string email;
  std::string message;
  std::vector<ReadChange> changes;
  bool operator==(const ReadCommit&) const = default;
};

struct ReadBranch {
  std::string fullName;
  std::string name;
  std::string hash;
  std::string upstream;
  bool isHead;
  bool operator==(const ReadBranch&) const = default;
};

template <class Value>
struct Reading {
  std::vector<Value> values;
  std::optional<qrb::ParseError> error;
};

inline Reading<ReadStatus> readStatus(const std::vector<std::string_view>& pieces) {
  GitStatusParser parser;
  Reading<ReadStatus> reading;
  auto sink = [&](const GitStatusRecord& record) {
    reading.values.push_back(
        {record.status, std::string(record.path), std::string(record.originalPath), record.similarity});
  };
  for (std::string_view piece : pieces) parser.feed(piece, sink);
  parser.finish();
  reading.error = parser.error();
  return reading;
}

inline ReadChange copyOf(const GitChange& change) {
  return {change.letter, std::string(change.path), std::string(change.originalPath)};
}

inline Reading<ReadChange> readChanges(const std::vector<std::string_view>& pieces) {
  GitNameStatusParser parser;
  Reading<ReadChange> reading;
  for (std::string_view piece : pieces) {
    parser.feed(piece, [&](const GitChange& change) { reading.values.push_back(copyOf(change)); });
  }
  parser.finish();
  reading.error = parser.error();
  return reading;
}

inline Reading<ReadCommit> readLog(const std::vector<std::string_view>& pieces) {
  GitLogParser parser;
  Reading<ReadCommit> reading;
  auto sink = [&](const GitLogRecord& record) {
    ReadCommit commit{std::string(record.hash),
                      std::string(record.parents),
                      record.authorDate,
                      std::string(record.authorName),
                      std::string(record.authorEmail),
                      std::string(record.message),
                      {}};
    for (const GitChange& change : record.changes) commit.changes.push_back(copyOf(change));
    reading.values.push_back(commit);
  };
  for (std::string_view piece : pieces) parser.feed(piece, sink);
  parser.finish(sink);
  reading.error = parser.error();
  return reading;
}

inline Reading<ReadBranch> readBranches(const std::vector<std::string_view>& pieces) {
  GitRefParser parser;
  Reading<ReadBranch> reading;
  for (std::string_view piece : pieces) {
    parser.feed(piece, [&](const GitRefRecord& record) {
      reading.values.push_back({std::string(record.fullName), std::string(record.name), std::string(record.hash),
                                std::string(record.upstream), record.isHead});
    });
  }
  parser.finish();
  reading.error = parser.error();
  return reading;
}
