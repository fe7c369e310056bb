#include "RegularExpression.h"

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <stdexcept>
#include <string>

namespace qrb {

namespace {

template <auto release>
struct Release {
  template <class T>
  void operator()(T* resource) const {
    release(resource);
  }
};

using CompileContext = std::unique_ptr<pcre2_compile_context, Release<pcre2_compile_context_free>>;
using MatchData = std::unique_ptr<pcre2_match_data, Release<pcre2_match_data_free>>;

PCRE2_SPTR units(std::string_view text) {
  return reinterpret_cast<PCRE2_SPTR>(text.data());
}

}  // namespace

struct RegularExpression::Code {
  std::unique_ptr<pcre2_code, Release<pcre2_code_free>> compiled;
};

RegularExpression::RegularExpression(std::string_view pattern, Case sensitivity) : _code(std::make_unique<Code>()) {
  CompileContext context(pcre2_compile_context_create(nullptr));
  if (context == nullptr) throw std::bad_alloc();
  pcre2_set_newline(context.get(), PCRE2_NEWLINE_ANYCRLF);
  int error = 0;
  PCRE2_SIZE offset = 0;
  _code->compiled.reset(pcre2_compile(units(pattern), pattern.size(),
                                      sensitivity == Case::insensitive ? PCRE2_CASELESS : 0u, &error, &offset,
                                      context.get()));
  if (_code->compiled == nullptr) {
    PCRE2_UCHAR reason[256];
    pcre2_get_error_message(error, reason, sizeof(reason));
    throw std::invalid_argument("regular expression, at " + std::to_string(offset) + ": " +
                                reinterpret_cast<const char*>(reason));
  }
}

RegularExpression::~RegularExpression() = default;
RegularExpression::RegularExpression(RegularExpression&&) noexcept = default;
RegularExpression& RegularExpression::operator=(RegularExpression&&) noexcept = default;

std::optional<RegularExpression::Groups> RegularExpression::firstMatch(std::string_view text) const {
  // An empty view may have no address at all, which the matcher takes for an error.
  if (text.data() == nullptr) text = "";
  MatchData match(pcre2_match_data_create_from_pattern(_code->compiled.get(), nullptr));
  if (match == nullptr) throw std::bad_alloc();
  int result = pcre2_match(_code->compiled.get(), units(text), text.size(), 0, 0, match.get(), nullptr);
  if (result < 0) return std::nullopt;
  Groups groups(pcre2_get_ovector_count(match.get()));
  const PCRE2_SIZE* bounds = pcre2_get_ovector_pointer(match.get());
  for (std::size_t group = 0; group < groups.size(); ++group) {
    PCRE2_SIZE start = bounds[2 * group];
    PCRE2_SIZE end = bounds[2 * group + 1];
    if (start != PCRE2_UNSET) groups[group] = Range{start, end - start};
  }
  return groups;
}

}  // namespace qrb
