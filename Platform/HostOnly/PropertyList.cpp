#include "PropertyList.h"

#include <plist/plist.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

#include "JSONDocument.h"
#include "PropertyListBoundsPrivate.h"
#include "UTF8.h"

namespace qrb {

namespace {

struct Freeing {
  void operator()(void* memory) const { std::free(memory); }
};
using Memory = std::unique_ptr<void, Freeing>;
using Text = std::unique_ptr<char, Freeing>;

struct ListFreeing {
  void operator()(void* list) const { plist_free(list); }
};
using List = std::unique_ptr<void, ListFreeing>;

Dictionary valueOf(plist_t node);

Dictionary dictionaryOf(plist_t node) {
  Dictionary dictionary = Dictionary::object();
  plist_dict_iter place = nullptr;
  plist_dict_new_iter(node, &place);
  Memory iterator(place);
  for (;;) {
    char* key = nullptr;
    plist_t value = nullptr;
    plist_dict_next_item(node, place, &key, &value);
    Text owned(key);
    if (value == nullptr) return dictionary;
    dictionary[key == nullptr ? "" : key] = valueOf(value);
  }
}

Dictionary arrayOf(plist_t node) {
  Dictionary array = Dictionary::array();
  plist_array_iter place = nullptr;
  plist_array_new_iter(node, &place);
  Memory iterator(place);
  for (;;) {
    plist_t value = nullptr;
    plist_array_next_item(node, place, &value);
    if (value == nullptr) return array;
    array.append(valueOf(value));
  }
}

Dictionary valueOf(plist_t node) {
  switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
      std::uint8_t value = 0;
      plist_get_bool_val(node, &value);
      return value != 0;
    }
    case PLIST_UINT: {
      std::uint64_t value = 0;
      plist_get_uint_val(node, &value);
      return value;
    }
    case PLIST_REAL: {
      double value = 0;
      plist_get_real_val(node, &value);
      return value;
    }
    case PLIST_STRING: {
      const char* text = plist_get_string_ptr(node, nullptr);
      return text == nullptr ? "" : text;
    }
    case PLIST_ARRAY:
      return arrayOf(node);
    case PLIST_DICT:
      return dictionaryOf(node);
    default:
      return nullptr;
  }
}

List listOf(const Dictionary& value) {
  switch (value.kind()) {
    case Dictionary::Kind::null:
      return nullptr;
    case Dictionary::Kind::boolean:
      return List(plist_new_bool(value.boolean() ? 1 : 0));
    case Dictionary::Kind::integer:
      return List(plist_new_uint(value.unsignedInteger()));
    case Dictionary::Kind::real:
      return List(plist_new_real(value.real()));
    case Dictionary::Kind::string:
      return List(plist_new_string(value.string().c_str()));
    case Dictionary::Kind::array: {
      List array(plist_new_array());
      for (const Dictionary& element : value.elements()) {
        if (List item = listOf(element)) plist_array_append_item(array.get(), item.release());
      }
      return array;
    }
    case Dictionary::Kind::object: {
      List dictionary(plist_new_dict());
      for (const auto& [key, element] : value.entries()) {
        if (List item = listOf(element)) plist_dict_set_item(dictionary.get(), key.c_str(), item.release());
      }
      return dictionary;
    }
  }
  return nullptr;
}

// A carriage return could be written, but readers of XML make a line feed of it.
bool fitsXML(std::string_view text) {
  auto isControl = [](char character) {
    return static_cast<unsigned char>(character) < 0x20 && character != '\t' && character != '\n';
  };
  return isValidUTF8(text) && std::none_of(text.begin(), text.end(), isControl);
}

// The declaration names a place on the web, where some readers of XML would go and look.
std::string withoutDocumentType(std::string text) {
  std::size_t begin = text.find("<!DOCTYPE");
  std::size_t end = text.find('\n', begin);
  if (begin != std::string::npos && end != std::string::npos) text.erase(begin, end + 1 - begin);
  return text;
}

}  // namespace

std::optional<Dictionary> valueFromPropertyList(std::string_view document, std::string& problem,
                                                const DocumentLimits& limits) {
  if (document.size() > limits.bytes) {
    problem = "The property list is too large.";
    return std::nullopt;
  }
  bool isBinary = document.starts_with("bplist");
  bool isBounded = isBinary ? detail::isBoundedBinaryPropertyList(document, limits)
                            : detail::isBoundedXMLPropertyList(document, limits);
  if (!isBounded) {
    problem = "The property list is malformed, or nested too deeply, or holds too many values.";
    return std::nullopt;
  }
  auto size = static_cast<std::uint32_t>(document.size());
  plist_t parsed = nullptr;
  if (isBinary) {
    plist_from_bin(document.data(), size, &parsed);
  } else {
    plist_from_xml(document.data(), size, &parsed);
  }
  List list(parsed);
  if (list == nullptr) {
    problem = "The text is no property list.";
    return std::nullopt;
  }
  Dictionary value = valueOf(list.get());
  if (placeOfTextThatFails(value, isValidUTF8)) {
    problem = "The property list holds a text that is not UTF-8.";
    return std::nullopt;
  }
  return value;
}

std::optional<std::string> propertyListFromValue(const Dictionary& value, std::string& problem) {
  if (auto place = placeOfTextThatFails(value, fitsXML)) {
    problem = "The text at " + *place + " is not UTF-8 or has control characters, and XML has no way to hold it.";
    return std::nullopt;
  }
  List list = listOf(value);
  char* text = nullptr;
  std::uint32_t size = 0;
  if (list != nullptr) plist_to_xml(list.get(), &text, &size);
  Text owned(text);
  if (text == nullptr) {
    problem = "The property list could not be written.";
    return std::nullopt;
  }
  return withoutDocumentType(std::string(text, size));
}

}  // namespace qrb
