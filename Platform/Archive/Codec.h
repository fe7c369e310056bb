#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <type_traits>
#include <vector>

#include "ArchiveReader.h"
#include "ArchiveWriter.h"
#include "Date.h"
#include "Dictionary.h"
#include "Error.h"
#include "SharedString.h"
#include "StringMap.h"
#include "URL.h"

namespace qrb {

/// How a type crosses in an archive. `T`'s declaration is also its allow-list: a `shared_ptr<Branch>` admits nil, a
/// Branch and what derives from Branch, a `vector` of them an array of those, and nothing else.
template <class T>
struct Codec;

template <>
struct Codec<bool> {
  static bool isAbsent(bool) { return false; }
  static void write(ArchiveWriter& writer, bool value) { writer.writeBool(value); }
  static bool read(ArchiveNode node) { return node.boolean(); }
};

template <>
struct Codec<std::int64_t> {
  static bool isAbsent(std::int64_t) { return false; }
  static void write(ArchiveWriter& writer, std::int64_t value) { writer.writeInt(value); }
  static std::int64_t read(ArchiveNode node) { return node.integer(); }
};

template <>
struct Codec<std::uint64_t> {
  static bool isAbsent(std::uint64_t) { return false; }
  static void write(ArchiveWriter& writer, std::uint64_t value) { writer.writeUnsigned(value); }
  static std::uint64_t read(ArchiveNode node) { return node.unsignedInteger(); }
};

template <>
struct Codec<double> {
  static bool isAbsent(double) { return false; }
  static void write(ArchiveWriter& writer, double value) { writer.writeDouble(value); }
  static double read(ArchiveNode node) { return node.real(); }
};

template <>
struct Codec<String> {
  static bool isAbsent(const String& value) { return !value.has_value(); }
  static void write(ArchiveWriter& writer, const String& value) {
    if (value) {
      writer.writeString(value.view());
    } else {
      writer.writeNil();
    }
  }
  static String read(ArchiveNode node) { return node.isNil() ? String() : node.string(); }
};

template <>
struct Codec<URL> {
  static bool isAbsent(const URL& value) { return !value; }
  static void write(ArchiveWriter& writer, const URL& value) { Codec<String>::write(writer, value.absoluteString()); }
  static URL read(ArchiveNode node) { return URL(Codec<String>::read(node)); }
};

template <>
struct Codec<Date> {
  static bool isAbsent(Date) { return false; }
  static void write(ArchiveWriter& writer, Date value) { writer.writeInt(value.time_since_epoch().count()); }
  static Date read(ArchiveNode node) { return Date(std::chrono::microseconds(node.integer())); }
};

template <class T>
struct Codec<std::optional<T>> {
  static bool isAbsent(const std::optional<T>& value) { return !value; }
  static void write(ArchiveWriter& writer, const std::optional<T>& value) {
    if (value) {
      Codec<T>::write(writer, *value);
    } else {
      writer.writeNil();
    }
  }
  static std::optional<T> read(ArchiveNode node) {
    return node.isNil() ? std::nullopt : std::optional<T>(Codec<T>::read(node));
  }
};

/// An object of class T or one derived from it; null is absent.
template <class T>
struct Codec<std::shared_ptr<T>> {
  static bool isAbsent(const std::shared_ptr<T>& value) { return value == nullptr; }
  static void write(ArchiveWriter& writer, const std::shared_ptr<T>& value) { writer.writeObject(value); }
  static std::shared_ptr<T> read(ArchiveNode node) {
    return std::static_pointer_cast<T>(node.object(std::remove_const_t<T>::staticClass()));
  }
};

template <class V>
struct Codec<StringMap<V>> {
  static bool isAbsent(const StringMap<V>&) { return false; }
  static void write(ArchiveWriter& writer, const StringMap<V>& map) {
    writer.writeMapHeader(map.size());
    for (const auto& [key, value] : map) {
      writer.writeLiteralKey(key.view());
      Codec<V>::write(writer, value);
    }
  }
  static void writeSharingKeys(ArchiveWriter& writer, const StringMap<V>& map) {
    writer.writeMapHeader(map.size());
    for (const auto& [key, value] : map) {
      writer.writeKey(key.view());
      Codec<V>::write(writer, value);
    }
  }
  static StringMap<V> read(ArchiveNode node) {
    if (node.isNil()) return {};
    if (node.kind() != ArchiveNode::Kind::map) node.expected("a dictionary");
    std::vector<std::pair<String, V>> entries;
    std::size_t count = node.count();
    entries.reserve(count);
    for (std::size_t index = 0; index < count; ++index) {
      auto entry = node.entry(index);
      V value = readAt([&] { return "key \"" + entry.first.str() + "\""; },
                       [&] {
                         if (entry.second.isNil()) throw ArchiveError("a dictionary holds nil");
                         return Codec<V>::read(entry.second);
                       });
      entries.emplace_back(std::move(entry.first), std::move(value));
    }
    return StringMap<V>(std::move(entries));
  }
};

/// A dictionary that may be absent, shared by those who hold it.
template <class V>
struct Codec<std::shared_ptr<const StringMap<V>>> {
  using Pointer = std::shared_ptr<const StringMap<V>>;
  static bool isAbsent(const Pointer& value) { return value == nullptr; }
  static void write(ArchiveWriter& writer, const Pointer& value) {
    if (value) {
      Codec<StringMap<V>>::write(writer, *value);
    } else {
      writer.writeNil();
    }
  }
  static Pointer read(ArchiveNode node) {
    return node.isNil() ? nullptr : std::make_shared<const StringMap<V>>(Codec<StringMap<V>>::read(node));
  }
};

template <class T>
struct Codec<std::vector<T>> {
  static bool isAbsent(const std::vector<T>&) { return false; }
  static void write(ArchiveWriter& writer, const std::vector<T>& values) {
    writer.writeArrayHeader(values.size());
    for (const T& value : values) Codec<T>::write(writer, value);
  }
  static std::vector<T> read(ArchiveNode node) {
    std::vector<T> values;
    if (node.isNil()) return values;
    if (node.kind() != ArchiveNode::Kind::array) node.expected("an array");
    std::size_t count = node.count();
    values.reserve(count);
    for (std::size_t index = 0; index < count; ++index) {
      ArchiveNode element = node.element(index);
      values.push_back(readAt([&] { return "element " + std::to_string(index + 1); },
                              [&] {
                                if (element.isNil()) throw ArchiveError("an array holds nil");
                                return Codec<T>::read(element);
                              }));
    }
    return values;
  }
};

/// A set crosses as an array.
template <class T>
struct Codec<std::set<T>> {
  static bool isAbsent(const std::set<T>&) { return false; }
  static void write(ArchiveWriter& writer, const std::set<T>& values) {
    writer.writeArrayHeader(values.size());
    for (const T& value : values) Codec<T>::write(writer, value);
  }
  static std::set<T> read(ArchiveNode node) {
    std::vector<T> values = Codec<std::vector<T>>::read(node);
    return std::set<T>(values.begin(), values.end());
  }
};

/// A pair of coordinates.
template <>
struct Codec<std::array<double, 2>> {
  static bool isAbsent(const std::array<double, 2>&) { return false; }
  static void write(ArchiveWriter& writer, const std::array<double, 2>& point) {
    writer.writeArrayHeader(2);
    for (double coordinate : point) writer.writeDouble(coordinate);
  }
  static std::array<double, 2> read(ArchiveNode node) {
    if (node.kind() != ArchiveNode::Kind::array || node.count() != 2) node.expected("a point");
    return {node.element(0).real(), node.element(1).real()};
  }
};

/// nil, or a dictionary of "domain", "code", "userInfo" and "cause".
template <>
struct QRB_EXPORT Codec<Error> {
  static bool isAbsent(const Error& error) { return !error; }
  static void write(ArchiveWriter& writer, const Error& error);
  static Error read(ArchiveNode node);
};

template <>
struct QRB_EXPORT Codec<Dictionary> {
  static bool isAbsent(const Dictionary& value);
  static void write(ArchiveWriter& writer, const Dictionary& value);
  static Dictionary read(ArchiveNode node);
};

}  // namespace qrb
