// What is read of the cards that address books really hold, and of what is no card at all.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "VCardParserPrivate.h"

namespace {

using qrb::parseVCards;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Person = QRBSourceControlPerson;

std::string card(const std::string& lines, const std::string& version = "4.0") {
  return "BEGIN:VCARD\r\nVERSION:" + version + "\r\n" + lines + "END:VCARD\r\n";
}

Person onlyPerson(const std::string& text) {
  auto file = parseVCards(text);
  EXPECT_THAT(file.problems, IsEmpty());
  EXPECT_THAT(file.people, SizeIs(1));
  return file.people.empty() ? Person() : file.people.front();
}

std::vector<std::string> emailsOf(const std::string& lines) {
  std::vector<std::string> emails;
  for (const qrb::String& email : onlyPerson(card("FN:Ann\r\n" + lines)).emails) emails.push_back(email.str());
  return emails;
}

TEST(VCard, NamesAreWhatTheCardMeans) {
  struct Case {
    const char* lines;
    Person person;
  };
  auto named = [](qrb::String first, qrb::String last, std::uint64_t flags = 0) {
    Person person;
    person.firstName = first;
    person.lastName = last;
    person.flags = flags;
    return person;
  };
  auto company = [](qrb::String name) {
    Person person;
    person.flags = 1;
    person.organization = name;
    return person;
  };
  const Case cases[] = {
      {"N:Apple;Ann;Maria;Dr.;\r\nFN:Dr. Ann Apple\r\n", named("Ann", "Apple")},
      {"N:Apple;Ann,Anna;;;\r\n", named("Ann", "Apple")},
      {"FN:Ann Apple\r\n", named("Ann Apple", {})},
      {"N:;Ann;;;\r\n", named("Ann", {})},
      {"N:Apple;;;;\r\n", named("Apple", {})},
      {"N:Apple;;;;\r\nFN:Ms Apple\r\n", named("Ms Apple", {})},
      {"N:Kovács;Anna;;;\r\nFN:Kovács Anna\r\n", named("Anna", "Kovács", 16)},
      {"N:Semi\\;colon;Com\\,ma;;;\r\n", named("Com,ma", "Semi;colon")},
      {"N:Back\\\\;Slash\r\n", named("Slash", "Back\\")},
      {"FN:Two\\nlines\r\n", named("Two\nlines", {})},
      {"n:Apple;Ann\r\n", named("Ann", "Apple")},
      {"item1.N:Apple;Ann\r\n", named("Ann", "Apple")},
      {"N;LANGUAGE=en;SORT-AS=\"Apple:;,Ann\":Apple;Ann\r\n", named("Ann", "Apple")},
      {"FN:First\r\nFN:Second\r\n", named("First", {})},
      {"KIND:org\r\nFN:Works\r\n", company("Works")},
      {"KIND:org\r\nFN:The Works\r\nORG:Works Ltd;Press\r\n", company("Works Ltd")},
      {"FN:Works Ltd\r\nORG:Works Ltd\r\nN:;;;;\r\n", company("Works Ltd")},
      {"EMAIL:a@b\r\n",
       [] {
         Person person;
         person.emails = {"a@b"};
         return person;
       }()},
  };
  for (const Case& each : cases) {
    Person read = onlyPerson(card(each.lines));
    EXPECT_EQ(read.firstName, each.person.firstName) << each.lines;
    EXPECT_EQ(read.lastName, each.person.lastName) << each.lines;
    EXPECT_EQ(read.organization, each.person.organization) << each.lines;
    EXPECT_EQ(read.flags, each.person.flags) << each.lines;
    EXPECT_EQ(read.emails, each.person.emails) << each.lines;
  }
}

TEST(VCard, NicknameAndWorkplaceStandBesideTheName) {
  Person read = onlyPerson(card("N:Apple;Ann\r\nNICKNAME:Annie,Nan\r\nORG:Works\\; Ltd;Press\r\nUID:urn:uuid:1\r\n"));
  EXPECT_EQ(read.firstName, "Ann");
  EXPECT_EQ(read.nickname, "Annie");
  EXPECT_EQ(read.organization, "Works; Ltd");
  EXPECT_EQ(read.flags, 0u) << "who works somewhere is still shown by name";
  EXPECT_EQ(read.uniqueId, "urn:uuid:1");
}

TEST(VCard, AddressesComeInTheOrderOfPreference) {
  EXPECT_THAT(emailsOf("EMAIL:a@x\r\nEMAIL;TYPE=work:b@x\r\n"), ElementsAre("a@x", "b@x"));
  EXPECT_THAT(emailsOf("EMAIL:a@x\r\nEMAIL;TYPE=INTERNET,pref:b@x\r\n"), ElementsAre("b@x", "a@x"));
  EXPECT_THAT(emailsOf("EMAIL;PREF=9:a@x\r\nEMAIL;PREF=2:b@x\r\nEMAIL:c@x\r\n"), ElementsAre("b@x", "a@x", "c@x"));
  EXPECT_THAT(emailsOf("EMAIL;PREF=900:a@x\r\nEMAIL;PREF=100:b@x\r\n"), ElementsAre("b@x", "a@x"));
  EXPECT_THAT(emailsOf("EMAIL:\r\nEMAIL:  \r\nEMAIL: a@x \r\n"), ElementsAre("a@x"));
}

TEST(VCard, FoldedLinesAreOneEvenInsideALetter) {
  // é is two bytes, and a line may be folded between them.
  Person read =
      onlyPerson("BEGIN:VCARD\nVERSION:3.0\nFN:Ren\xC3\n \xA9 A\n\tpple\nEMAIL:rene@\n example.org\nEND:VCARD\n");
  EXPECT_EQ(read.firstName, "René Apple");
  EXPECT_THAT(read.emails, ElementsAre(qrb::String("rene@example.org")));
}

TEST(VCard, OneFileHoldsManyCardsAndGroupsAreNobody) {
  auto file = parseVCards("\xEF\xBB\xBF" + card("FN:Ann\r\n", "3.0") + "\r\n" + card("KIND:group\r\nFN:Crew\r\n") +
                          "begin:vcard\nversion:4.0\nfn:Bob\nend:vcard");
  EXPECT_THAT(file.problems, IsEmpty());
  ASSERT_THAT(file.people, SizeIs(2));
  EXPECT_EQ(file.people[0].firstName, "Ann");
  EXPECT_EQ(file.people[1].firstName, "Bob");
}

TEST(VCard, WhatIsWrongIsToldByItsLineAndTheRestIsRead) {
  struct Case {
    std::string text;
    std::vector<std::size_t> lines;
    std::size_t people;
  };
  std::string good = card("FN:Ann\r\n");  // four lines
  const Case cases[] = {
      {"", {}, 0},
      {"\r\n \r\n", {}, 0},
      {good + "BEGIN:VCARD\r\nVERSION:4.0\r\nFN:Cut", {5}, 1},
      {"BEGIN:VCARD\r\nVERSION:4.0\r\n" + good, {1}, 1},
      {card("FN:Old\r\n", "2.1") + good, {1}, 1},
      {"BEGIN:VCARD\r\nFN:None\r\nEND:VCARD\r\n" + good, {1}, 1},
      {"FN:Outside\r\n" + good + "END:VCARD\r\n", {1, 6}, 1},
      {card("no property\r\nFN:Ann\r\n"), {3}, 1},
      {card(":no name\r\nFN:Ann\r\n"), {3}, 1},
      {card("FN;X=\"never closed:Ann\r\n"), {3}, 1},
      {std::string("\x7F"
                   "ELF\x02\x01\x00\x00",
                   8),
       {1},
       0},
  };
  for (const Case& each : cases) {
    auto file = parseVCards(each.text);
    std::vector<std::size_t> lines;
    for (const auto& problem : file.problems) lines.push_back(problem.line);
    EXPECT_EQ(lines, each.lines) << each.text;
    EXPECT_EQ(file.people.size(), each.people) << each.text;
  }
}

TEST(VCard, EveryCutOfAFileIsSurvivedAndInvalidTextIsMadeValid) {
  std::string whole = card("item1.EMAIL;TYPE=\"a,b\":x\\,y@z\r\nN:Apple\\;;An\r\n n,A;;;\r\nUID:1\r\n");
  for (std::size_t length = 0; length < whole.size(); ++length) {
    auto file = parseVCards(whole.substr(0, length));
    std::size_t withoutLineEnd = whole.size() - 2;
    EXPECT_EQ(file.people.size(), length < withoutLineEnd ? 0u : 1u) << length;
  }
  EXPECT_EQ(onlyPerson(card("FN:Ren\xE9\r\n")).firstName, "Ren\xEF\xBF\xBD");
}

}  // namespace
