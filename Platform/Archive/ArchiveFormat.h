#pragma once

#include <cstddef>
#include <cstdint>

namespace qrb {

/// The MessagePack extension type of a reference to an object that this archive has held before. Its payload is the
/// object's number, big-endian, in 1, 2 or 4 bytes.
inline constexpr std::int8_t kArchiveReferenceType = 1;

/// More distinct shared keys than this are written in full, so that neither side's table grows without end.
inline constexpr std::size_t kMostArchiveKeys = std::size_t{1} << 20;

/// What one peer may make this side remember for the length of an archive: objects, the text of shared keys, and whole
/// messages kept because something in them was not asked for. A million-item history needs a small part of each.
inline constexpr std::size_t kMostArchiveObjects = std::size_t{1} << 24;
inline constexpr std::size_t kMostArchiveKeyBytes = std::size_t{256} << 20;
inline constexpr std::size_t kMostKeptMessageBytes = std::size_t{64} << 20;

/// Writes the shortest form; returns its size.
inline std::size_t encodeReferenceNumber(std::uint32_t number, unsigned char (&bytes)[4]) {
  std::size_t size = number <= 0xff ? 1 : number <= 0xffff ? 2 : 4;
  for (std::size_t index = 0; index < size; ++index) {
    bytes[index] = static_cast<unsigned char>(number >> 8 * (size - 1 - index));
  }
  return size;
}

}  // namespace qrb
