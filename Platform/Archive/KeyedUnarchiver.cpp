#include "KeyedUnarchiver.h"

#include "MessageScanner.h"

namespace qrb {

std::shared_ptr<Object> KeyedUnarchiver::unarchivedObjectOfClass(const ClassInfo& admitted, std::string_view data) {
  MessageScanner scanner;
  if (scanner.scan(data) != MessageScanner::Outcome::complete || scanner.length() != data.size()) {
    throw ArchiveError("bytes that are no archive");
  }
  ArchiveReaderTables tables;
  auto message = ArchiveMessage::parse(std::string(data), tables);
  return message->root().object(admitted);
}

}  // namespace qrb
