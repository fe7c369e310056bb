#pragma once

#include <ostream>

#include "SharedString.h"
#include "URL.h"

// How failing tests show values.
namespace qrb {

inline void PrintTo(const String& string, std::ostream* stream) {
  if (string) {
    *stream << '"' << string.view() << '"';
  } else {
    *stream << "(absent)";
  }
}

inline void PrintTo(const URL& url, std::ostream* stream) {
  PrintTo(url.absoluteString(), stream);
}

}  // namespace qrb
