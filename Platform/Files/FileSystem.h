#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "FileDescriptor.h"

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

/// What may be read as a file is.
enum class ReadableKind {
  /// A plain file, or a link to one. Nobody is waited for.
  plainFile,
  /// A plain file that no link stands for.
  plainFileItself,
  /// A pipe or a device too; its end is waited for.
  anything,
};
inline constexpr std::size_t anySize = std::string::npos;

/// The bytes of a file of at most so many; nothing, with errno set, for a longer one, for one of another kind and for
/// one that cannot be read.
std::optional<std::string> readFile(const std::string& path, std::size_t limit,
                                    ReadableKind kind = ReadableKind::plainFile);
/// As readFile() of a path that begins at a folder that is open.
std::optional<std::string> readFileIn(int folder, const char* path, std::size_t limit,
                                      ReadableKind kind = ReadableKind::plainFile);
/// What a descriptor that blocks gives from here to its end, at most so many bytes; nothing, with errno set, where it
/// is more or cannot be read.
std::optional<std::string> readToEnd(int descriptor, std::size_t limit);

/// A descriptor from which the bytes can be read once; no file of that content is ever on disk. Invalid, with errno
/// set, where there is no room for it.
FileDescriptor holdInMemory(std::string_view bytes);

}  // namespace qrb
