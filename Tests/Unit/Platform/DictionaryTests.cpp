#include "Dictionary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

#include "Assertion.h"
#include "JSONDocument.h"

namespace qrb {
namespace {

TEST(Dictionaries, AreWrittenInJSONAsAnotherWriterWouldAndReadBack) {
  const Dictionary values[] = {
      nullptr,
      true,
      0,
      -1,
      std::numeric_limits<std::int64_t>::min(),
      std::numeric_limits<std::uint64_t>::max(),
      1.5,
      -0.25,
      "",
      "\"\\/\b\f\n\r\t\x01\x1f\x7f <&> \xc3\x9c \xf0\x9f\x98\x80",
      Dictionary::array(),
      Dictionary::object(),
      Dictionary::array({Dictionary::array({1, "x"}), Dictionary::object(), nullptr}),
      {{"b", 1}, {"a", {{"\"\n", Dictionary::array({false, {{"c", ""}}})}}}, {"", 2}},
  };
  for (const Dictionary& value : values) {
    std::string text = value.jsonText();
    SCOPED_TRACE(text);
    EXPECT_EQ(nlohmann::json::parse(text).dump(), text);
    EXPECT_EQ(nlohmann::json::parse(text).dump(2), value.jsonText(2));
    std::string problem;
    EXPECT_EQ(valueFromJSON(value.jsonText(2), problem), value) << problem;
  }
  for (double number : {1.0, -0.0, 1e5, 1e300, 5e-324, 0.1, 0x1p64, std::numeric_limits<double>::max()}) {
    std::string problem;
    auto read = valueFromJSON(Dictionary(number).jsonText(), problem);
    ASSERT_TRUE(read && read->isReal()) << number;
    EXPECT_EQ(read->real(), number);
  }
  EXPECT_EQ(Dictionary::array({std::nan(""), -INFINITY}).jsonText(), "[null,null]");
}

TEST(Dictionaries, OfAStrangersJSONAreReadWithinLimits) {
  struct Case {
    std::string text;
    DocumentLimits limits;
    bool isRead;
  };
  auto nested = [](std::size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); };
  const Case cases[] = {
      {nested(32), {}, true},
      {nested(33), {}, false},
      {std::string(200'000, '['), {}, false},
      {R"({"a":1,"b":[2]})", {.values = 6}, true},
      {R"({"a":1,"b":[2]})", {.values = 5}, false},
      {"[1,2]", {.bytes = 5}, true},
      {"[1,2]", {.bytes = 4}, false},
      {"[1,]", {}, false},
      {"1 2", {}, false},
      {"\"\xff\"", {}, false},
      {"1e999", {}, false},
      {"", {}, false},
  };
  for (const Case& each : cases) {
    std::string problem;
    EXPECT_EQ(valueFromJSON(each.text, problem, each.limits).has_value(), each.isRead) << each.text.substr(0, 80);
    EXPECT_EQ(problem.empty(), each.isRead) << problem;
  }
  std::string problem;
  auto repeated = valueFromJSON(R"({"a":{"x":1},"a":{"y":[2,{"z":3}]},"b":4})", problem);
  EXPECT_EQ(repeated, Dictionary({{"a", {{"y", Dictionary::array({2, {{"z", 3}}})}}}, {"b", 4}}));
}

TEST(Dictionaries, ReadWhatTheyAreNotAsEmpty) {
  const Dictionary text = "text";
  EXPECT_TRUE(text["key"]["key"].isNull() && text.elements().empty() && text.entries().empty());
  EXPECT_EQ(text.integer(), 0);
  EXPECT_EQ(Dictionary({{"a", 1}})["b"].string(), "");
  EXPECT_EQ(Dictionary(0x1p64).unsignedInteger(), UINT64_MAX);
  EXPECT_EQ(Dictionary(-0x1p70).integer(), INT64_MIN);
  EXPECT_EQ(Dictionary(-1.5).unsignedInteger(), 0u);
  EXPECT_EQ(Dictionary(std::nan("")).integer(), 0);
  EXPECT_EQ(Dictionary(1), Dictionary(1.0));
  EXPECT_NE(Dictionary(1), Dictionary(true));
  EXPECT_NE(Dictionary(-1), Dictionary(UINT64_MAX));
}

TEST(Dictionaries, CanTakeThePlaceOfWhatTheyStandIn) {
  Dictionary value = {{"inner", {{"text", "kept"}}}};
  value = std::move(value["inner"]);
  EXPECT_EQ(value, Dictionary({{"text", "kept"}}));
  value = value["text"];
  EXPECT_EQ(value, "kept");
  Dictionary& same = value;
  value = same;
  EXPECT_EQ(value, "kept");
  Dictionary copy = {{"list", Dictionary::array({1})}};
  copy["list"].append(copy);
  EXPECT_EQ(copy.jsonText(), R"({"list":[1,{"list":[1]}]})");
}

TEST(Dictionaries, TakeNoKeyAndNoElementWhereTheyCanHoldNone) {
  static std::vector<std::string> reported;
  reported.clear();
  auto before = setAssertionHandler([](auto, int, std::string_view message) { reported.emplace_back(message); });
  Dictionary nothing;
  nothing["a"]["b"].append("x");
  Dictionary text = "text";
  text["key"] = 1;
  Dictionary object = {{"key", 1}};
  object.append(2);
  setAssertionHandler(before);
  EXPECT_EQ(nothing.jsonText(), R"({"a":{"b":["x"]}})");
  EXPECT_EQ(text.jsonText(), R"({"key":1})");
  EXPECT_EQ(object.jsonText(), "[2]");
  EXPECT_THAT(reported, testing::ElementsAre("A key was set in what is no dictionary",
                                             "An element was put into what is no array"));
}

}  // namespace
}  // namespace qrb
