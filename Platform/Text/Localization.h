#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

#include "SharedString.h"

namespace qrb {

/// Marks a text that `localized` gets elsewhere, so that the extraction of translatable texts finds it.
constexpr const char* localizable(const char* msgid) {
  return msgid;
}

/// The host's translation of an English text: looked up with gettext in the text domain that the host has chosen
/// (`textdomain`), in the codeset it has bound there; the English text itself where there is none.
std::string localized(const char* msgid);

/// The translation under a key in another text domain, or `fallback`.
std::string localizedInDomain(const char* domain, const char* key, const char* fallback);

/// The format with each "%@" replaced, in order, by the next of the texts; an absent one shows as "(null)".
/// Placeholders beyond the texts stay as they are.
std::string format(std::string_view format, std::initializer_list<String> texts);

}  // namespace qrb
