#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Export.h"
#include "SharedString.h"

namespace qrb {

/// An address kept verbatim: an ordinary URL or an scp-style one (user@server:path), or absent.
///
/// Parts are found on demand, by the generic syntax of RFC 3986, in a text that has a scheme followed by "://"; of
/// every other text (an scp-style address, a bare path, a URL with characters that had to be encoded) they are absent.
/// Percent-encoding is removed from all parts, which need not be UTF-8 then. Equality is that of the text. Immutable;
/// safe from any thread.
class QRB_EXPORT URL {
 public:
  URL() noexcept = default;
  explicit URL(String text) noexcept : _text(std::move(text)) {}
  /// The file URL of an absolute path, whose bytes (UTF-8 or not) `path` gives back. A directory's URL ends in "/".
  /// Absent for a path that is empty or relative.
  static URL fileURL(std::string_view path, bool isDirectory = false);

  explicit operator bool() const noexcept { return _text.has_value(); }
  /// The text as given; absent for an absent URL.
  const String& absoluteString() const noexcept { return _text; }
  bool isFileURL() const;

  String scheme() const;
  String user() const;
  String password() const;
  /// An IPv6 address comes without its brackets.
  String host() const;
  std::optional<int> port() const;
  /// With its leading slash; empty for a URL without a path. A trailing slash is dropped except for the root.
  String path() const;
  /// The last component of `path`; "/" for the root, absent or empty as `path` is.
  String lastPathComponent() const;
  /// `path` split at "/": the first is "/". None where `path` is absent or empty.
  std::vector<std::string> pathComponents() const;

  // These work on the text, so on scp-style addresses too, where nothing is percent-encoded.

  /// The URL as it may be shown: without the password of its user information, whatever characters that has; the
  /// receiver where there is none.
  URL withoutPassword() const;

  /// The URL with one more component, percent-encoded, joined by exactly one "/". A directory's ends in "/".
  URL appendingPathComponent(std::string_view component, bool isDirectory = false) const;
  /// The URL with "." and the extension added to its last component; the URL itself where the path is empty or the
  /// root.
  URL appendingPathExtension(std::string_view extension) const;
  /// The URL of the folder that holds it, ending in "/" (or in the ":" of an scp-style address); the URL itself where
  /// the path is empty or the root.
  URL deletingLastPathComponent() const;

  std::size_t hash() const noexcept { return _text.hash(); }
  friend bool operator==(const URL& a, const URL& b) noexcept { return a._text == b._text; }

 private:
  String _text;
};

}  // namespace qrb

template <>
struct std::hash<qrb::URL> {
  std::size_t operator()(const qrb::URL& url) const noexcept { return url.hash(); }
};
