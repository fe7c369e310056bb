#pragma once

#include <cstddef>
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
/// Parts are found on demand and are absent where the text is not a URL that a generic parser understands. Equality is
/// that of the text. Immutable; safe from any thread.
class QRB_EXPORT URL {
 public:
  URL() noexcept = default;
  explicit URL(String text) noexcept : _text(std::move(text)) {}
  /// The file URL of an absolute path, whose bytes outside the unreserved set (UTF-8 or not) are percent-encoded.
  /// A directory's URL ends in "/". Absent for a path that is empty or relative.
  static URL fileURL(std::string_view path, bool isDirectory = false);

  explicit operator bool() const noexcept { return _text.has_value(); }
  /// The text as given; absent for an absent URL.
  const String& absoluteString() const noexcept { return _text; }
  bool isFileURL() const;

  String scheme() const;
  String user() const;
  String password() const;
  String host() const;
  std::optional<int> port() const;
  /// Percent-decoded, with its leading slash; absent when the text has no scheme or no path can be told. A trailing
  /// slash is dropped except for the root.
  String path() const;
  /// The last component of `path`, percent-decoded, without slashes; absent or empty as `path` is.
  String lastPathComponent() const;
  /// `path` split at "/": the first is "/" for an absolute path.
  std::vector<std::string> pathComponents() const;

  /// The URL with one more component, percent-encoded, joined by exactly one "/".
  URL appendingPathComponent(std::string_view component, bool isDirectory = false) const;
  /// The URL with "." and the extension added to its last component.
  URL appendingPathExtension(std::string_view extension) const;
  /// The URL of the folder that holds it, ending in "/".
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
