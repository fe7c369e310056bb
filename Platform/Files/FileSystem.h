#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace qrb {

/// The user's home directory, without a trailing slash; empty when the system knows none.
std::string homeDirectory();

/// Makes a directory that only the user can enter, and those that lead to it. False, with errno set, when it cannot be
/// made or is there already.
bool makePrivateDirectory(const std::string& path);

/// Writes a new file that only the user can read and write, whatever the umask. False, with errno set, when there is
/// one already or not all could be written; nothing is left behind then.
bool writePrivateFile(const std::string& path, std::string_view bytes);

/// Who may read a file that is written.
enum class FileAccess { asUsual, userOnly };

/// Writes over the file of that name, or makes one. False, with errno set, when not all could be written: a file that
/// was there is cut off then, a new one removed. `userOnly` holds for a file that is there already too, from before the
/// first byte is written.
bool overwriteFile(const std::string& path, std::string_view bytes, FileAccess access);

/// The bytes of a plain file of at most so many; nothing, with errno set, for any other. Waits for nobody: a pipe is no
/// plain file.
std::optional<std::string> readFile(const std::string& path, std::size_t limit);

}  // namespace qrb
