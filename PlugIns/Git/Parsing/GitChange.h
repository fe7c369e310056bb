#pragma once

#include <cstdint>
#include <string_view>

#include "RecordParser.h"

/// One path that a commit or a comparison changed. The views last until the sink returns.
struct GitChange {
  /// A added, C copied, D deleted, M modified, R renamed, T type changed, U unmerged.
  char letter = 'M';
  /// How alike the files of a rename or copy are, in percent.
  std::uint8_t similarity = 0;
  /// Path from the root of the repository, as bytes; of a rename or copy the new one.
  std::string_view path;
  /// The path that a rename or copy came from; empty otherwise.
  std::string_view originalPath;
};

/// The status bits of a path that a revision changed in the way of the letter; 0 for an unknown letter.
std::uint64_t gitChangeStatus(char letter);

/// The change as remote status: the working copy does not have it yet.
std::uint64_t gitRemoteChangeStatus(char letter);

/// A change whose tokens have arrived in a qrb::TokenBuffer in part or whole.
struct GitPendingChange {
  char letter = 0;
  std::uint8_t similarity = 0;
  qrb::TokenSpan path;
  qrb::TokenSpan originalPath;

  /// Reads the letter and, where it has one, the similarity. False: not a change.
  bool readLetter(std::string_view token);
  bool hasOriginal() const { return letter == 'R' || letter == 'C'; }
  GitChange resolve(const qrb::TokenBuffer& buffer) const;
};

/// Reads what `--name-status -z` prints of one comparison, as it arrives.
class GitNameStatusParser final : public qrb::RecordParser<GitChange> {
 public:
  GitNameStatusParser() : RecordParser('\0') {}

  /// To be called at the end of the output. False when the output is malformed or ends inside a change.
  bool finish();

 private:
  enum class Awaits : std::uint8_t { letter, firstPath, secondPath };

  bool next() override;

  Awaits _awaits = Awaits::letter;
  GitPendingChange _pending;
};
