#include "Localization.h"
#include "RequestWordsPrivate.h"

namespace qrb {

namespace {

struct Words {
  std::string_view method;
  /// None where people never hear of it.
  const char* words;
};

constexpr Words wordsOfRequests[] = {
#define QRB_MESSAGE(name, selector, line, words, ...) {selector, words},
#include "QRBSourceControlPlugInMessages.h"
};

}  // namespace

String wordsForRequest(std::string_view method) {
  for (const Words& each : wordsOfRequests) {
    if (each.method == method && each.words != nullptr) return localized(each.words);
  }
  return {};
}

}  // namespace qrb
