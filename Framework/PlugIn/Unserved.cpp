#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>

#include "Assertion.h"
#include "Log.h"
#include "QRBSourceControlError.h"
#include "SubclassResponsibilityPrivate.h"
#include "UnservedPrivate.h"

namespace qrb {

namespace {

thread_local bool isUnserved = false;

}  // namespace

void answerForBaseClass() {
  AssertionHandler previous = setAssertionHandler({});
  setAssertionHandler([previous](std::string_view file, int line, std::string_view message) {
    std::string place = std::string(file) + ":" + std::to_string(line);
    if (message == kSubclassResponsibility) {
      log(place, message);
      isUnserved = true;
    } else if (previous) {
      previous(file, line, message);
    } else {
      std::fprintf(stderr, "%s: %.*s\n", place.c_str(), static_cast<int>(message.size()), message.data());
      std::abort();
    }
  });
}

bool takeUnserved() {
  return std::exchange(isUnserved, false);
}

Error unservedError(std::string_view method) {
  return QRBSourceControlError_RequestUnsupported({}, {}, String(method));
}

}  // namespace qrb
