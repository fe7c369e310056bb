#include "Codec.h"

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
  return value.isNull();
}

void Codec<Dictionary>::write(ArchiveWriter& writer, const Dictionary& value) {
  switch (value.kind()) {
    case Dictionary::Kind::null:
      return writer.writeNil();
    case Dictionary::Kind::boolean:
      return writer.writeBool(value.boolean());
    case Dictionary::Kind::integer:
      return value.isNegative() ? writer.writeInt(value.integer()) : writer.writeUnsigned(value.unsignedInteger());
    case Dictionary::Kind::real:
      return writer.writeDouble(value.real());
    case Dictionary::Kind::string:
      return writer.writeString(value.string());
    case Dictionary::Kind::array:
      writer.writeArrayHeader(value.size());
      for (const Dictionary& element : value.elements()) write(writer, element);
      return;
    case Dictionary::Kind::object:
      writer.writeMapHeader(value.size());
      for (const auto& [key, element] : value.entries()) {
        writer.writeKey(key);
        write(writer, element);
      }
      return;
  }
}

namespace {

// A key that crossed once may stand in any number of dictionaries, and here each gets a copy.
constexpr std::size_t kMostKeyBytes = std::size_t{64} << 20;

Dictionary readDictionary(ArchiveNode node, std::size_t& keyBytesLeft) {
  switch (node.kind()) {
    case ArchiveNode::Kind::nil:
      return {};
    case ArchiveNode::Kind::boolean:
      return node.boolean();
    case ArchiveNode::Kind::integer:
      return node.isNegative() ? Dictionary(node.integer()) : Dictionary(node.unsignedInteger());
    case ArchiveNode::Kind::real:
      return node.real();
    case ArchiveNode::Kind::string:
    case ArchiveNode::Kind::bytes:
      return node.string().str();
    case ArchiveNode::Kind::array: {
      Dictionary array = Dictionary::array();
      for (std::size_t index = 0; index < node.count(); ++index) {
        array.append(readDictionary(node.element(index), keyBytesLeft));
      }
      return array;
    }
    case ArchiveNode::Kind::map: {
      Dictionary map = Dictionary::object();
      for (std::size_t index = 0; index < node.count(); ++index) {
        auto [key, value] = node.entry(index);
        if (key.size() > keyBytesLeft) throw ArchiveError("a dictionary with too much text for keys");
        keyBytesLeft -= key.size();
        map[key.view()] = readDictionary(value, keyBytesLeft);
      }
      return map;
    }
    case ArchiveNode::Kind::object:
      break;
  }
  throw ArchiveError("an object stands in a dictionary of plain values");
}

}  // namespace

Dictionary Codec<Dictionary>::read(ArchiveNode node) {
  std::size_t keyBytesLeft = kMostKeyBytes;
  return readDictionary(node, keyBytesLeft);
}

}  // namespace qrb
