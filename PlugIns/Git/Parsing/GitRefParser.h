#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "RecordParser.h"

/// One branch or tag. The views last until the sink returns.
struct GitRefRecord {
  enum class Kind : std::uint8_t { localBranch, remoteBranch, tag, other };

  Kind kind = Kind::other;
  /// The branch of the working copy that was asked.
  bool isHead = false;
  /// "refs/heads/main".
  std::string_view fullName;
  /// The name without the folder of its kind: "main", "origin/main".
  std::string_view name;
  /// Empty only for a tag of something that is no commit.
  std::string_view hash;
  /// The full name of the branch it follows; empty when there is none.
  std::string_view upstream;
};

/// The `--format` whose output GitRefParser reads. Names of refs hold neither NUL nor line feed.
inline constexpr std::string_view gitRefFormat =
    "--format=%(refname)%00%(objectname)%00%(HEAD)%00%(upstream)%00%(symref)%00";

/// As gitRefFormat, for tags: the commit that a tag stands for takes the place of its object, and nothing does where
/// that is another object.
inline constexpr std::string_view gitTagFormat =
    "--format=%(refname)%00%(if:equals=commit)%(objecttype)%(then)%(objectname)%(else)%(if:equals=commit)%(*objecttype)"
    "%(then)%(*objectname)%(end)%(end)%00%(HEAD)%00%(upstream)%00%(symref)%00";

/// Reads the output of gitBranchesCommand() and gitTagsCommand() as it arrives. Symbolic refs, such as the one that
/// names a remote's main branch, are no branches and are skipped.
class GitRefParser final : public qrb::RecordParser<GitRefRecord> {
 public:
  GitRefParser() : RecordParser('\0') {}

  /// To be called at the end of the output. False when the output is malformed or ends inside a line.
  bool finish();

 private:
  bool next() override;
  bool readFields();
  bool read(bool& isSymbolic);

  std::array<qrb::TokenSpan, 5> _fields;
  /// How many of the fields have arrived.
  std::size_t _count = 0;
};
