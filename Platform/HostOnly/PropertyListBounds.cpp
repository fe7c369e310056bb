#include <algorithm>
#include <charconv>
#include <cstdint>
#include <optional>
#include <vector>

#include "PropertyListBoundsPrivate.h"

namespace qrb::detail {

namespace {

class XMLScanner {
 public:
  XMLScanner(std::string_view document, const DocumentLimits& limits) : _rest(document), _limits(limits) {}

  bool scan() {
    if (!hasUsableCharacters()) return false;
    for (std::size_t next = _rest.find('<'); next != std::string_view::npos; next = _rest.find('<')) {
      _rest.remove_prefix(next);
      if (!takeMarkup()) return false;
    }
    return _open.empty();
  }

 private:
  // A text that holds a zero ends the process in some parsers, whichever way it is written.
  bool hasUsableCharacters() const {
    if (_rest.find('\0') != std::string_view::npos) return false;
    for (std::size_t next = _rest.find("&#"); next != std::string_view::npos; next = _rest.find("&#", next + 2)) {
      std::string_view digits = _rest.substr(next + 2, 9);
      if (digits.find(';') == std::string_view::npos) return false;
      bool isHexadecimal = digits.starts_with('x') || digits.starts_with('X');
      if (isHexadecimal) digits.remove_prefix(1);
      digits = digits.substr(0, digits.find(';'));
      std::uint32_t character = 0;
      auto [end, error] =
          std::from_chars(digits.data(), digits.data() + digits.size(), character, isHexadecimal ? 16 : 10);
      bool isWhole = error == std::errc() && end == digits.data() + digits.size();
      if (!isWhole || character == 0 || character > 0x10ffff) return false;
    }
    return true;
  }

  bool takeMarkup() {
    // Two forms of comment that readers disagree about, so that one may see elements where another sees none.
    if (_rest.starts_with("<!-->") || _rest.starts_with("<!--->")) return false;
    if (_rest.starts_with("<!--")) return skipThrough("-->", 4);
    if (_rest.starts_with("<![CDATA[")) return skipThrough("]]>", 9);
    if (_rest.starts_with("<?")) return skipThrough("?>", 2);
    if (_rest.starts_with("<!")) return takeDeclaration();
    return takeTag();
  }

  bool skipThrough(std::string_view end, std::size_t from) {
    std::size_t place = _rest.find(end, from);
    if (place == std::string_view::npos) return false;
    _rest.remove_prefix(place + end.size());
    return true;
  }

  // Property lists declare nothing themselves; they name their type and go on.
  bool takeDeclaration() {
    std::size_t end = _rest.find('>');
    if (end == std::string_view::npos || _rest.substr(0, end).find('[') != std::string_view::npos) return false;
    _rest.remove_prefix(end + 1);
    return true;
  }

  bool takeTag() {
    std::size_t end = _rest.find('>');
    if (end == std::string_view::npos) return false;
    std::string_view tag = _rest.substr(1, end - 1);
    _rest.remove_prefix(end + 1);
    if (tag.find('<') != std::string_view::npos) return false;
    if (tag.starts_with('/')) return takeClosing(tag.substr(1));
    bool isEmpty = tag.ends_with('/');
    if (isEmpty) tag.remove_suffix(1);
    std::string_view name = tag.substr(0, tag.find_first_of(" \t\r\n/"));
    if (++_elements > _limits.values) return false;
    if (isEmpty) return true;
    _open.push_back(name);
    // The outermost element only says that this is a property list.
    return _open.size() <= _limits.depth + 1;
  }

  bool takeClosing(std::string_view name) {
    name = name.substr(0, name.find_first_of(" \t\r\n"));
    if (_open.empty() || _open.back() != name) return false;
    _open.pop_back();
    return true;
  }

  std::string_view _rest;
  const DocumentLimits& _limits;
  std::vector<std::string_view> _open;
  std::size_t _elements = 0;
};

// One value costs this much and its own bytes, so that a long text that is referred to often is seen too.
constexpr std::uint64_t kCostOfValue = 64;

class BinaryScanner {
 public:
  BinaryScanner(std::string_view document, const DocumentLimits& limits)
      : _document(document), _budget(kCostOfValue * limits.values), _depth(limits.depth) {}

  bool scan() {
    constexpr std::size_t headerSize = 8;
    constexpr std::size_t trailerSize = 32;
    if (_document.size() < headerSize + trailerSize) return false;
    std::size_t trailer = _document.size() - trailerSize;
    _offsetSize = *number(trailer + 6, 1);
    _referenceSize = *number(trailer + 7, 1);
    _objectCount = *number(trailer + 8, 8);
    std::uint64_t top = *number(trailer + 16, 8);
    _table = *number(trailer + 24, 8);
    // There cannot be more objects than bytes.
    if (_offsetSize - 1 > 7 || _referenceSize - 1 > 7 || _objectCount > _document.size()) return false;
    _known.resize(_objectCount);
    return extentOf(top, _depth).has_value();
  }

 private:
  struct Extent {
    std::uint64_t cost = 0;
    std::size_t height = 0;
  };
  struct Header {
    unsigned kind;
    std::uint64_t count;
    std::uint64_t content;  // where it begins
  };

  std::optional<std::uint64_t> number(std::uint64_t place, std::uint64_t size) const {
    if (place > _document.size() || size > _document.size() - place) return std::nullopt;
    std::uint64_t value = 0;
    for (std::uint64_t index = 0; index < size; ++index) {
      value = (value << 8) | static_cast<unsigned char>(_document[static_cast<std::size_t>(place + index)]);
    }
    return value;
  }

  std::optional<Header> headerOf(std::uint64_t object) const {
    if (object >= _objectCount || _table > _document.size()) return std::nullopt;
    auto place = number(_table + object * _offsetSize, _offsetSize);
    auto marker = place ? number(*place, 1) : std::nullopt;
    if (!marker) return std::nullopt;
    Header header{static_cast<unsigned>(*marker >> 4), *marker & 0xf, *place + 1};
    // Only these have a count, which may be a number of its own behind the marker.
    if (header.kind < 4 || header.kind == 8 || header.count != 0xf) return header;
    auto lengthMarker = number(header.content, 1);
    if (!lengthMarker || (*lengthMarker >> 4) != 1 || (*lengthMarker & 0xf) > 3) return std::nullopt;
    std::uint64_t size = std::uint64_t{1} << (*lengthMarker & 0xf);
    auto count = number(header.content + 1, size);
    if (!count) return std::nullopt;
    return Header{header.kind, *count, header.content + 1 + size};
  }

  // Whether a text of bytes or of pairs of them has one that is zero; parsers may end the process over it.
  bool holdsZero(const Header& header) const {
    std::uint64_t size = header.kind == 6 ? 2 : 1;
    for (std::uint64_t index = 0; index < header.count; ++index) {
      auto unit = number(header.content + index * size, size);
      if (!unit || *unit == 0) return true;
    }
    return false;
  }

  // An object is looked at once, however often it is referred to; a cycle runs out of depth.
  std::optional<Extent> extentOf(std::uint64_t object, std::size_t depthLeft) {
    if (object >= _objectCount) return std::nullopt;
    Extent& known = _known[static_cast<std::size_t>(object)];
    if (known.cost == 0) {
      if (depthLeft == 0) return std::nullopt;
      auto header = headerOf(object);
      auto extent = header ? extentOf(*header, depthLeft) : std::nullopt;
      if (!extent) return std::nullopt;
      known = *extent;
    }
    if (known.height > depthLeft || known.cost > _budget) return std::nullopt;
    return known;
  }

  std::optional<Extent> extentOf(const Header& header, std::size_t depthLeft) {
    // Kinds 4 to 6 are bytes, ASCII and UTF-16; 10 to 12 arrays and sets; 13 dictionaries.
    std::uint64_t references = header.kind >= 10 && header.kind <= 12 ? header.count : 0;
    if (header.count > _document.size()) return std::nullopt;
    if (header.kind == 13) references = header.count * 2;
    if ((header.kind == 5 || header.kind == 6) && holdsZero(header)) return std::nullopt;
    Extent extent{kCostOfValue + (references == 0 ? header.count * 3 : 0), 1};
    for (std::uint64_t index = 0; index < references; ++index) {
      auto object = number(header.content + index * _referenceSize, _referenceSize);
      auto inner = object ? extentOf(*object, depthLeft - 1) : std::nullopt;
      if (!inner) return std::nullopt;
      extent.cost += inner->cost;
      extent.height = std::max(extent.height, inner->height + 1);
      if (extent.cost > _budget) return std::nullopt;
    }
    return extent;
  }

  std::string_view _document;
  std::uint64_t _budget;
  std::size_t _depth;
  std::uint64_t _offsetSize = 0;
  std::uint64_t _referenceSize = 0;
  std::uint64_t _objectCount = 0;
  std::uint64_t _table = 0;
  std::vector<Extent> _known;
};

}  // namespace

bool isBoundedXMLPropertyList(std::string_view document, const DocumentLimits& limits) {
  return XMLScanner(document, limits).scan();
}

bool isBoundedBinaryPropertyList(std::string_view document, const DocumentLimits& limits) {
  return BinaryScanner(document, limits).scan();
}

}  // namespace qrb::detail
