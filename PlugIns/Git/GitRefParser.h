#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "GitTokenBuffer.h"

/// One branch. The views last until the sink returns.
struct GitRefRecord {
  enum class Kind : std::uint8_t { LocalBranch, RemoteBranch, Tag, Other };

  Kind kind = Kind::Other;
  /// The branch of the working copy that was asked.
  bool isHead = false;
  /// "refs/heads/main".
  std::string_view fullName;
  /// The name without the folder of its kind: "main", "origin/main".
  std::string_view name;
  std::string_view hash;
  /// The full name of the branch it follows; empty when there is none.
  std::string_view upstream;
};

/// The `--format` whose output GitRefParser reads. Names of refs hold neither NUL nor line feed.
inline constexpr std::string_view gitRefFormat =
    "--format=%(refname)%00%(objectname)%00%(HEAD)%00%(upstream)%00%(symref)%00";

/// Reads the output of gitBranchesCommand() as it arrives. Symbolic refs, such as the one that names a remote's main
/// branch, are no branches and are skipped. Any bytes are safe; those that are not git's end the reading with an error.
/// Not for use by two threads at once.
class GitRefParser {
 public:
  /// Reads one piece of output, cut anywhere, and calls `sink(const GitRefRecord&)` for each branch that is now whole.
  /// False when the output is malformed: see error().
  template <class Sink>
  bool feed(std::string_view bytes, Sink&& sink) {
    if (_error) return false;
    _buffer.append(bytes);
    while (next()) sink(static_cast<const GitRefRecord&>(_record));
    return suspend();
  }

  /// To be called at the end of the output. False when the output is malformed or ends inside a line.
  bool finish();

  const std::optional<GitParseError>& error() const { return _error; }

 private:
  bool next();
  bool read(std::string_view line, bool& isSymbolic);
  bool suspend();
  bool fail(const char* what);

  GitTokenBuffer _buffer{'\n'};
  GitRefRecord _record;
  std::optional<GitParseError> _error;
};
