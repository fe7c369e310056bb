#include "SubversionScratch.h"

#include <stdlib.h>

namespace {

constexpr const char* variable = "TMPDIR";

}  // namespace

SubversionScratch::SubversionScratch(qrb::Guard& guard) {
  if (path().empty()) return;
  _removal.emplace(guard.add({{"/bin/rm", "-rf", "--", path()}}));
  if (const char* before = ::getenv(variable)) _before = before;
  ::setenv(variable, path().c_str(), 1);
}

SubversionScratch::~SubversionScratch() {
  if (path().empty()) return;
  if (_before) {
    ::setenv(variable, _before->c_str(), 1);
  } else {
    ::unsetenv(variable);
  }
}
