#include "Codec.h"

#include <nlohmann/json.hpp>

#include "HeldDictionary.h"

namespace qrb {

namespace {

constexpr std::string_view kDomain = "domain";
constexpr std::string_view kCode = "code";
constexpr std::string_view kUserInfo = "userInfo";
constexpr std::string_view kCause = "cause";

}  // namespace

void Codec<Error>::write(ArchiveWriter& writer, const Error& error) {
  if (!error) return writer.writeNil();
  Error cause = error.cause();
  writer.writeMapHeader(cause ? 4 : 3);
  writer.writeKey(kDomain);
  Codec<String>::write(writer, error.domain());
  writer.writeKey(kCode);
  writer.writeInt(error.code());
  writer.writeKey(kUserInfo);
  Codec<StringMap<String>>::write(writer, error.userInfo());
  if (cause) {
    writer.writeKey(kCause);
    write(writer, cause);
  }
}

Error Codec<Error>::read(ArchiveNode node) {
  if (node.isNil()) return {};
  if (node.kind() != ArchiveNode::Kind::map) node.expected("an error");
  return Error(Codec<String>::read(node.valueForKey(kDomain)), node.valueForKey(kCode).integer(),
               Codec<StringMap<String>>::read(node.valueForKey(kUserInfo)), read(node.valueForKey(kCause)));
}

bool Codec<Dictionary>::isAbsent(const Dictionary& value) {
  return value.is_null();
}

void Codec<Dictionary>::write(ArchiveWriter& writer, const Dictionary& value) {
  switch (value.type()) {
    case Dictionary::value_t::null:
    case Dictionary::value_t::discarded:
      return writer.writeNil();
    case Dictionary::value_t::boolean:
      return writer.writeBool(value.get<bool>());
    case Dictionary::value_t::number_integer:
      return writer.writeInt(value.get<std::int64_t>());
    case Dictionary::value_t::number_unsigned:
      return writer.writeUnsigned(value.get<std::uint64_t>());
    case Dictionary::value_t::number_float:
      return writer.writeDouble(value.get<double>());
    case Dictionary::value_t::string:
      return writer.writeString(value.get_ref<const std::string&>());
    case Dictionary::value_t::binary: {
      const auto& bytes = value.get_binary();
      return writer.writeBytes({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    }
    case Dictionary::value_t::array:
      writer.writeArrayHeader(value.size());
      for (const Dictionary& element : value) write(writer, element);
      return;
    case Dictionary::value_t::object:
      writer.writeMapHeader(value.size());
      for (const auto& [key, element] : value.items()) {
        writer.writeKey(key);
        write(writer, element);
      }
      return;
  }
}

namespace {

// A key that crossed once may stand in any number of dictionaries, and here each gets a copy.
constexpr std::size_t kMostKeyBytes = std::size_t{64} << 20;

// Depth first, since only an empty container goes without memory.
void dissolve(Dictionary& value) noexcept {
  if (!value.is_structured()) return;
  for (Dictionary& element : value) dissolve(element);
  value.clear();
}

HeldDictionary readDictionary(ArchiveNode node, std::size_t& keyBytesLeft) {
  switch (node.kind()) {
    case ArchiveNode::Kind::nil:
      return {};
    case ArchiveNode::Kind::boolean:
      return HeldDictionary(node.boolean());
    case ArchiveNode::Kind::integer:
      return HeldDictionary(node.isNegative() ? Dictionary(node.integer()) : Dictionary(node.unsignedInteger()));
    case ArchiveNode::Kind::real:
      return HeldDictionary(node.real());
    case ArchiveNode::Kind::string:
    case ArchiveNode::Kind::bytes:
      return HeldDictionary(node.string().str());
    case ArchiveNode::Kind::array: {
      HeldDictionary array(Dictionary::array());
      for (std::size_t index = 0; index < node.count(); ++index) {
        HeldDictionary element = readDictionary(node.element(index), keyBytesLeft);
        array->push_back(std::move(*element));
      }
      return array;
    }
    case ArchiveNode::Kind::map: {
      HeldDictionary map(Dictionary::object());
      for (std::size_t index = 0; index < node.count(); ++index) {
        auto [key, value] = node.entry(index);
        if (key.size() > keyBytesLeft) throw ArchiveError("a dictionary with too much text for keys");
        keyBytesLeft -= key.size();
        HeldDictionary element = readDictionary(value, keyBytesLeft);
        (*map)[key.str()] = std::move(*element);
      }
      return map;
    }
    case ArchiveNode::Kind::object:
      break;
  }
  throw ArchiveError("an object stands in a dictionary of plain values");
}

}  // namespace

HeldDictionary::HeldDictionary() : _value(std::make_unique<Dictionary>()) {}
HeldDictionary::HeldDictionary(Dictionary value) : _value(std::make_unique<Dictionary>(std::move(value))) {}
HeldDictionary::HeldDictionary(HeldDictionary&&) noexcept = default;
HeldDictionary::~HeldDictionary() {
  if (_value != nullptr) dissolve(*_value);
}

HeldDictionary Codec<HeldDictionary>::read(ArchiveNode node) {
  std::size_t keyBytesLeft = kMostKeyBytes;
  return readDictionary(node, keyBytesLeft);
}

Dictionary Codec<Dictionary>::read(ArchiveNode node) {
  std::size_t keyBytesLeft = kMostKeyBytes;
  return std::move(*readDictionary(node, keyBytesLeft));
}

}  // namespace qrb
