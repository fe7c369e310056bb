#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace qrb {

/// A pattern in Perl's syntax, compiled once. Patterns and texts are taken as bytes, so a text need not be UTF-8; the
/// classes and the insensitivity to case are those of ASCII. Safe to use from several threads at once.
class RegularExpression {
 public:
  enum class Case { sensitive, insensitive };
  /// A group's place in the text, in bytes.
  struct Range {
    std::size_t location;
    std::size_t length;
  };
  /// The whole match first, then the groups by their opening parentheses; nullopt for a group that took no part.
  using Groups = std::vector<std::optional<Range>>;

  /// Throws std::invalid_argument, with the place and the reason, when the pattern cannot be compiled.
  explicit RegularExpression(std::string_view pattern, Case sensitivity = Case::sensitive);
  ~RegularExpression();
  RegularExpression(RegularExpression&&) noexcept;
  RegularExpression& operator=(RegularExpression&&) noexcept;

  /// The first match, or nullopt. A text that the matcher gives up on (its limits of work and memory) counts as without
  /// one.
  std::optional<Groups> firstMatch(std::string_view text) const;

 private:
  struct Code;
  std::unique_ptr<Code> _code;
};

}  // namespace qrb
