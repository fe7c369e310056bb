#include "PropertyList.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <plist/plist.h>

namespace qrb {
namespace {

std::optional<Dictionary> read(std::string_view document) {
  std::string problem;
  auto value = valueFromPropertyList(document, problem);
  EXPECT_EQ(value.has_value(), problem.empty());
  return value;
}

std::string element(const std::string& body) {
  return "<?xml version=\"1.0\"?>\n<!DOCTYPE plist>\n<plist version=\"1.0\">" + body + "</plist>";
}

std::string repeated(const std::string& text, std::size_t count) {
  std::string result;
  for (std::size_t index = 0; index < count; ++index) result += text;
  return result;
}

std::string bigEndian(std::uint64_t number, int size) {
  std::string bytes;
  for (int shift = 8 * (size - 1); shift >= 0; shift -= 8) bytes += static_cast<char>(number >> shift);
  return bytes;
}

// A binary property list of these objects, each as it is encoded; the first is the top one.
std::string binary(const std::vector<std::string>& objects, std::uint64_t claimedCount = 0) {
  std::string document = "bplist00";
  std::string table;
  for (const std::string& object : objects) {
    table += bigEndian(document.size(), 4);
    document += object;
  }
  std::uint64_t tablePlace = document.size();
  document += table;
  document += std::string(6, '\0') + "\x04\x02";
  std::uint64_t count = claimedCount == 0 ? objects.size() : claimedCount;
  return document + bigEndian(count, 8) + bigEndian(0, 8) + bigEndian(tablePlace, 8);
}

std::string arrayOf(const std::vector<std::uint16_t>& references) {
  std::string object = references.size() < 15 ? std::string(1, static_cast<char>(0xa0 + references.size()))
                                              : "\xaf\x11" + bigEndian(references.size(), 2);
  for (std::uint16_t reference : references) object += bigEndian(reference, 2);
  return object;
}

TEST(PropertyLists, SurviveXMLWhateverTheirTextsAre) {
  Dictionary value = {{"text", Dictionary::array({"", " spaces ", "\n\ttab\n", "<&>\"']]>",
                                                  "\xc3\x9c \xf0\x9f\x98\x80 e\xcc\x81", "&amp;"})},
                      {"<key> & \xc3\x9c", {{"true", true}, {"false", false}}},
                      {"numbers", Dictionary::array({0, 1, 18446744073709551615u, 1.5})},
                      {"empty", {{"array", Dictionary::array()}, {"object", Dictionary::object()}}}};
  std::string problem;
  auto text = propertyListFromValue(value, problem);
  ASSERT_TRUE(text) << problem;
  EXPECT_EQ(read(*text), value);
}

TEST(PropertyLists, AreReadInBinaryToo) {
  plist_t list = plist_new_dict();
  plist_dict_set_item(list, "a", plist_new_string("\xc3\x9c \xf0\x9f\x98\x80"));
  plist_t array = plist_new_array();
  for (int index = 0; index < 300; ++index) plist_array_append_item(array, plist_new_uint(7));
  plist_dict_set_item(list, "b", array);
  plist_dict_set_item(list, "c", plist_new_bool(1));
  plist_dict_set_item(list, "d", plist_new_data("x", 1));
  char* bytes = nullptr;
  std::uint32_t size = 0;
  plist_to_bin(list, &bytes, &size);
  plist_free(list);
  Dictionary expected = {{"a", "\xc3\x9c \xf0\x9f\x98\x80"},
                         {"b", Dictionary::array(Dictionary::Array(300, 7))},
                         {"c", true},
                         {"d", nullptr}};
  EXPECT_EQ(read(std::string_view(bytes, size)), expected);
  for (std::uint32_t cut = 0; cut < size; ++cut) EXPECT_EQ(read(std::string_view(bytes, cut)), std::nullopt) << cut;
  plist_to_bin_free(bytes);
}

TEST(PropertyLists, ThatAreNoneOrAskTooMuchAreRefused) {
  // Each, believed, would use up the stack or the memory of its reader.
  std::size_t many = 200'000;
  std::string nested = repeated("<array>", many);
  std::vector<std::string> chain;
  for (std::uint16_t index = 1; index < 60'000; ++index) chain.push_back(arrayOf({index}));
  chain.push_back(arrayOf({}));
  std::vector<std::string> doubling;
  for (std::uint16_t index = 1; index < 30; ++index) doubling.push_back(arrayOf({index, index}));
  doubling.push_back(arrayOf({}));
  std::string longText = "\x5f\x12" + bigEndian(1 << 20, 4) + std::string(1 << 20, 'x');
  for (const std::string& document : {
           std::string(),
           std::string("nonsense"),
           std::string("<plist>"),
           std::string("{\"json\": 1}"),
           element(nested + repeated("</array>", many)),
           element("<string>" + repeated("</array>", many) + "</string>" + nested),
           element(repeated("<!--></array>", 10) + "-->" + nested),
           element(repeated("<true/>", (std::size_t{4} << 20) + 1)),
           std::string("<!DOCTYPE plist [<!ENTITY a \"b\">]><plist><string>&a;</string></plist>"),
           element("<string>\xff</string>"),
           element(std::string("<string>a\0b</string>", 20)),
           element("<dict><key>a&#0;b</key><true/></dict>"),
           element("<string>&#x00;</string>"),
           element("<string>&#x110000;</string>"),
           element("<string>&#4294967296;</string>"),
           binary({"\xd1" + bigEndian(1, 2) + bigEndian(2, 2),
                   std::string("\x53"
                               "a\0b",
                               4),
                   arrayOf({})}),
           binary({std::string("\x62"
                               "a\0\0\0",
                               5)}),
           binary(chain),
           binary(doubling),
           binary({arrayOf({0})}),
           binary({arrayOf({1}), arrayOf({0})}),
           binary({arrayOf({7})}),
           binary({arrayOf(std::vector<std::uint16_t>(60'000, 1)), longText}),
           binary({arrayOf({})}, ~std::uint64_t{0}),
           binary({"\xaf\x13" + bigEndian(~std::uint64_t{0}, 8)}),
       }) {
    EXPECT_EQ(read(document), std::nullopt) << document.substr(0, 100);
  }
  EXPECT_EQ(read(binary({arrayOf({1, 1}), arrayOf({})})),
            Dictionary::array({Dictionary::array(), Dictionary::array()}));
}

}  // namespace
}  // namespace qrb
