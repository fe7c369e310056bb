#include "UUIDString.h"

#include <uuid/uuid.h>

namespace qrb {

std::string makeUUIDString() {
  uuid_t uuid;
  uuid_generate_random(uuid);
  char text[UUID_STR_LEN];
  uuid_unparse_upper(uuid, text);
  return text;
}

}  // namespace qrb
