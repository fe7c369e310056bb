#include "KeyedArchiver.h"

namespace qrb {

std::string KeyedArchiver::archivedData(const std::shared_ptr<const Object>& object) {
  std::string data;
  ArchiveWriterTables tables;
  ArchiveWriter(data, tables).writeObject(object);
  return data;
}

}  // namespace qrb
