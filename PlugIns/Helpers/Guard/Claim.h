#pragma once

#include <filesystem>
#include <string>
#include <vector>

/// The folder of a new working copy, for one request alone.
class Claim {
 public:
  enum class Outcome { claimed, occupied, refused };

  explicit Claim(std::filesystem::path folder) : _folder(std::move(folder)) {}

  /// Makes the folder and those that lead to it, or takes an empty one. Another guard's has to become free first.
  Outcome take();
  /// Why it was refused.
  const std::string& reason() const { return _reason; }

  /// Removes what is in the folder, and the folders that take() has made.
  void giveUp();
  /// Those that lead to a folder that was not claimed.
  void removeMadeFolders();

 private:
  Outcome refuse(std::string reason);
  bool makeFolders(const std::filesystem::path& folder, std::error_code& error);
  bool isThere() const;
  bool isEmptied() const;

  const std::filesystem::path _folder;
  std::string _reason;
  std::vector<std::filesystem::path> _made;
  int _descriptor = -1;
  bool _isOurs = false;
};
