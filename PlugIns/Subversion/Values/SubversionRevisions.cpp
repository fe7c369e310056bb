#include "SubversionRevisions.h"

#include <charconv>
#include <string_view>

#include "QRBSourceControlError.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlRevisionLocation.h"

qrb::Error subversionRevision(const QRBSourceControlRevisionPtr& revision, SubversionRevision fallback,
                              SubversionRevision& result) {
  result = fallback;
  if (!revision) return {};
  if (revision->isUnversionedRevision()) {
    result = SubversionRevision::working();
    return {};
  }
  std::string_view text = revision->identifier().view();
  if (text == "HEAD") {
    result = SubversionRevision::head();
  } else if (text == "BASE") {
    result = SubversionRevision::base();
  } else if (text == "INITIAL") {
    result = SubversionRevision::at(0);
  } else {
    std::string_view digits = text.starts_with('r') ? text.substr(1) : text;
    long number = -1;
    auto [end, failure] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (failure != std::errc() || end != digits.data() + digits.size() || number < 0) {
      return QRBSourceControlError_LocationNotFound(QRBSourceControlErrorCode::revisionNotFound, revision->identifier(),
                                                    "A revision of Subversion is a number, HEAD or BASE.");
    }
    result = SubversionRevision::at(number);
  }
  return {};
}

QRBSourceControlRevisionPtr subversionRevisionValue(long revision) {
  return revision < 0 ? nullptr : QRBSourceControlRevision::initWithIdentifier(std::to_string(revision));
}

QRBSourceControlRevisionPtr subversionPinOf(const QRBSourceControlRevisionLocationPtr& location) {
  return location ? location->revision() : nullptr;
}
