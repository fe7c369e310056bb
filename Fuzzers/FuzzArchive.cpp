// A stream of messages from anyone: where each ends, what it says, and the objects it describes.

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "ArchiveReader.h"
#include "Codec.h"
#include "KeyedArchiver.h"
#include "KeyedUnarchiver.h"
#include "MessageScanner.h"
#include "Object.h"
#include "QRBSourceControlModelPrivate.h"

namespace {

using qrb::ArchiveNode;
using qrb::MessageScanner;

void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "broken: %s\n", what);
  std::abort();
}

/// The reading may refuse, and with nothing but an ArchiveError.
template <class Reading>
void attempt(const Reading& reading) {
  try {
    reading();
  } catch (const qrb::ArchiveError&) {
    return;
  }
}

/// What was read can be written, and from there on writing and reading change nothing.
void checkRoundTrip(const std::shared_ptr<qrb::Object>& object) {
  if (object == nullptr) return;
  std::string data = qrb::KeyedArchiver::archivedData(object);
  auto again = qrb::KeyedUnarchiver::unarchivedObjectOfClass(object->classInfo(), data);
  require(again != nullptr && &again->classInfo() == &object->classInfo(), "an object came back as another class");
  require(qrb::KeyedArchiver::archivedData(again) == data, "an object changed when it was written and read");
  require(object->description().empty() == again->description().empty(), "a description depends on the archive");
  // Each class has its own rules for these; none may fail on what anyone sent.
  object->isEqual(again);
  object->hash();
  object->copy();
}

void readObjects(ArchiveNode node) {
  switch (node.kind()) {
    case ArchiveNode::Kind::object: {
      std::shared_ptr<qrb::Object> object;
      attempt([&] { object = node.object(qrb::Object::staticClass()); });
      // Outside: an object that was made must not be refused any more.
      checkRoundTrip(object);
      break;
    }
    case ArchiveNode::Kind::array:
      for (std::size_t index = 0; index < node.count(); ++index) readObjects(node.element(index));
      break;
    case ArchiveNode::Kind::map:
      for (std::size_t index = 0; index < node.count(); ++index) readObjects(node.entry(index).second);
      break;
    default:
      break;
  }
}

void readAsEveryType(ArchiveNode node) {
  attempt([&] { qrb::Codec<qrb::Error>::read(node); });
  attempt([&] { qrb::Codec<qrb::Dictionary>::read(node); });
  attempt([&] { qrb::Codec<qrb::StringMap<std::uint64_t>>::read(node); });
  attempt([&] { qrb::Codec<std::vector<qrb::URL>>::read(node); });
  attempt([&] { qrb::Codec<qrb::Date>::read(node); });
  attempt([&] { qrb::Codec<double>::read(node); });
  attempt([&] { qrb::Codec<std::array<double, 2>>::read(node); });
}

/// Where the first message ends, found at once or byte by byte; 0 when it does not end or is refused.
std::size_t messageLength(std::string_view bytes) {
  MessageScanner atOnce;
  MessageScanner::Outcome outcome = atOnce.scan(bytes);
  MessageScanner inPieces;
  MessageScanner::Outcome piecewise = MessageScanner::Outcome::incomplete;
  for (std::size_t size = 1; size <= bytes.size() && piecewise == MessageScanner::Outcome::incomplete; ++size) {
    piecewise = inPieces.scan(bytes.substr(0, size));
    if (piecewise == MessageScanner::Outcome::incomplete) require(inPieces.missing(size) > 0, "nothing is missing");
  }
  require(piecewise == outcome, "a message ends where no other reading of it ends");
  if (outcome != MessageScanner::Outcome::complete) return 0;
  require(inPieces.length() == atOnce.length() && atOnce.length() <= bytes.size(), "a message is of two lengths");
  return atOnce.length();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view bytes(reinterpret_cast<const char*>(data), size);
  qrb::ArchiveReaderTables tables;
  while (std::size_t length = bytes.empty() ? 0 : messageLength(bytes)) {
    std::shared_ptr<qrb::ArchiveMessage> message;
    attempt([&] { message = qrb::ArchiveMessage::parse(std::string(bytes.substr(0, length)), tables); });
    // Whoever sent it is not listened to any further.
    if (message == nullptr) break;
    readAsEveryType(message->root());
    readObjects(message->root());
    tables.retire(message);
    bytes.remove_prefix(length);
  }
  return 0;
}
