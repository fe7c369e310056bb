#include "Object.h"

namespace qrb {

namespace {
// Zero-initialised before any dynamic initialiser runs, so classes of any translation unit can link themselves in.
constinit const ClassInfo* registeredClasses = nullptr;
}  // namespace

ClassInfo::ClassInfo(const char* name, const ClassInfo* superclass, Decoder archiveDecoder) noexcept
    : _name(name), _superclass(superclass), _decoder(archiveDecoder), _next(registeredClasses) {
  registeredClasses = this;
}

bool ClassInfo::isKindOf(const ClassInfo& other) const noexcept {
  for (const ClassInfo* info = this; info != nullptr; info = info->_superclass) {
    if (info == &other) return true;
  }
  return false;
}

const ClassInfo* ClassInfo::named(std::string_view name) noexcept {
  for (const ClassInfo* info = registeredClasses; info != nullptr; info = info->_next) {
    if (info->name() == name) return info;
  }
  return nullptr;
}

const ClassInfo Object::_classInfo{"Object", nullptr, nullptr};

std::string Object::description() const {
  return std::string(className());
}

void Object::encodeWithCoder(KeyedArchiver&) const {}

}  // namespace qrb
