#include "Collator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace qrb {
namespace {

using Names = std::vector<std::string>;

TEST(Collators, SortByTheLanguageAndTheirKeysLikeTheirTexts) {
  struct Case {
    const char* language;
    Names expected;
  };
  for (const Case& c : {Case{"en", {"\xc3\x84pfel", "apricot", "Banana", "zebra"}},
                        Case{"sv", {"apricot", "Banana", "zebra", "\xc3\x84pfel"}}}) {
    Collator collator(c.language);
    Names byText = {"zebra", "Banana", "\xc3\x84pfel", "apricot"};
    Names byKey = byText;
    std::sort(byText.begin(), byText.end(),
              [&](const std::string& a, const std::string& b) { return collator.compare(a, b) < 0; });
    std::sort(byKey.begin(), byKey.end(),
              [&](const std::string& a, const std::string& b) { return collator.sortKey(a) < collator.sortKey(b); });
    EXPECT_EQ(byText, c.expected) << c.language;
    EXPECT_EQ(byKey, c.expected) << c.language;
  }
}

TEST(Collators, TakeAnyBytes) {
  const Collator& collator = Collator::ofUser();
  EXPECT_EQ(collator.sortKey(""), collator.sortKey(""));
  EXPECT_NE(collator.sortKey("a\xff"), collator.sortKey("b\xff"));
  std::string text(10'000, 'x');
  EXPECT_LT(collator.sortKey(text), collator.sortKey(text + "y"));
}

}  // namespace
}  // namespace qrb
