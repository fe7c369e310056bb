#pragma once

#include <optional>
#include <string>

/// What the process that is guarded says, on standard input.
class Orders {
 public:
  /// The next line; none at the end.
  std::optional<std::string> nextLine();
  /// So many bytes; none where the end comes before.
  std::optional<std::string> nextBytes(std::size_t count);

 private:
  bool fill();

  std::string _read;
  std::size_t _place = 0;
};

/// Answers with a line. Whoever does not hear it is gone, and its end is heard next.
void say(const std::string& line);
