#include "Collator.h"

#include <unicode/coll.h>
#include <unicode/locid.h>

#include <vector>

namespace qrb {

struct Collator::Handle {
  std::unique_ptr<icu::Collator> collator;
};

namespace {

std::unique_ptr<icu::Collator> collatorFor(const icu::Locale& locale) {
  UErrorCode status = U_ZERO_ERROR;
  return std::unique_ptr<icu::Collator>(icu::Collator::createInstance(locale, status));
}

icu::UnicodeString unicode(std::string_view text) {
  return icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
}

}  // namespace

const Collator& Collator::ofUser() {
  // Never destroyed: actions may end after the host's static objects have.
  static const auto& user = *new Collator(icu::Locale::getDefault().getName());
  return user;
}

Collator::Collator(const std::string& language)
    : _handle(new Handle{collatorFor(icu::Locale::createFromName(language.c_str()))}) {}

Collator::~Collator() = default;

std::string Collator::sortKey(std::string_view text) const {
  // Without ICU's data files there is no order but that of the bytes.
  if (_handle->collator == nullptr) return std::string(text);
  icu::UnicodeString wide = unicode(text);
  std::vector<std::uint8_t> key(text.size() * 4 + 16);
  auto capacity = static_cast<std::int32_t>(key.size());
  std::int32_t size = _handle->collator->getSortKey(wide, key.data(), capacity);
  if (size > capacity) {
    key.resize(static_cast<std::size_t>(size));
    size = _handle->collator->getSortKey(wide, key.data(), size);
  }
  return std::string(reinterpret_cast<const char*>(key.data()), static_cast<std::size_t>(size));
}

int Collator::compare(std::string_view a, std::string_view b) const {
  if (_handle->collator == nullptr) return a.compare(b);
  UErrorCode status = U_ZERO_ERROR;
  return _handle->collator->compare(unicode(a), unicode(b), status);
}

}  // namespace qrb
