#include "Localization.h"

#include <libintl.h>

namespace qrb {

std::string localized(const char* msgid) {
  return ::gettext(msgid);
}

std::string localizedInDomain(const char* domain, const char* key, const char* fallback) {
  // gettext answers the key itself, the same pointer, when it knows no translation.
  const char* text = ::dgettext(domain, key);
  return text == key ? fallback : text;
}

std::string format(std::string_view format, std::initializer_list<String> texts) {
  constexpr std::string_view placeholder = "%@";
  std::string result;
  for (const String& text : texts) {
    std::size_t position = format.find(placeholder);
    if (position == std::string_view::npos) break;
    result += format.substr(0, position);
    result += text ? text.view() : "(null)";
    format.remove_prefix(position + placeholder.size());
  }
  result += format;
  return result;
}

}  // namespace qrb
