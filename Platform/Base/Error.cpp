#include "Error.h"

namespace qrb {

const char* const kErrorLocalizedDescriptionKey = "LocalizedDescription";
const char* const kErrorLocalizedRecoverySuggestionKey = "LocalizedRecoverySuggestion";

struct Error::Details {
  String domain;
  std::int64_t code;
  StringMap<String> userInfo;
  Error cause;
};

Error::Error(String domain, std::int64_t code, StringMap<String> userInfo, Error cause)
    : _details(std::make_shared<Details>(Details{std::move(domain), code, std::move(userInfo), std::move(cause)})) {}

String Error::domain() const {
  return _details ? _details->domain : String();
}

std::int64_t Error::code() const noexcept {
  return _details ? _details->code : 0;
}

const StringMap<String>& Error::userInfo() const noexcept {
  static const StringMap<String> none;
  return _details ? _details->userInfo : none;
}

String Error::userInfo(std::string_view key) const {
  const String* entry = userInfo().find(key);
  return entry == nullptr ? String() : *entry;
}

std::string Error::localizedDescription() const {
  if (!_details) return "no error";
  String text = userInfo(kErrorLocalizedDescriptionKey);
  if (text) return text.str();
  return "The operation failed (" + domain().str() + " error " + std::to_string(code()) + ").";
}

String Error::localizedRecoverySuggestion() const {
  return userInfo(kErrorLocalizedRecoverySuggestionKey);
}

Error Error::cause() const {
  return _details ? _details->cause : Error();
}

std::string Error::description() const {
  if (!_details) return "no error";
  std::string text = localizedDescription() + " (" + domain().str() + " " + std::to_string(code()) + ")";
  if (Error behind = cause()) text += " caused by: " + behind.description();
  return text;
}

bool Error::isSameKindAs(const Error& other) const {
  if (!_details || !other._details) return !_details && !other._details;
  return domain() == other.domain() && code() == other.code();
}

bool operator==(const Error& a, const Error& b) {
  if (a._details == b._details) return true;
  return a.isSameKindAs(b) && a._details && a.userInfo() == b.userInfo() && a.cause() == b.cause();
}

}  // namespace qrb
