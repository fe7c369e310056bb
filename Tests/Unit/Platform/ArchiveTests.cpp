#include <gtest/gtest.h>

#include <random>

#include "ArchiveReader.h"
#include "ArchiveWriter.h"
#include "KeyedArchiver.h"
#include "KeyedUnarchiver.h"
#include "MessageScanner.h"

namespace qrb {
namespace {

// A class with one key of each kind, and one derived from it.
class Node : public Object {
  QRB_OBJECT;

 public:
  static std::shared_ptr<Object> initWithCoder(KeyedUnarchiver& coder) {
    auto node = std::make_shared<Node>();
    node->decode(coder);
    return node;
  }
  void decode(KeyedUnarchiver& coder) {
    text = coder.decode<String>("text");
    number = coder.decode<std::int64_t>("number");
    next = coder.decode<std::shared_ptr<Node>>("next");
    other = coder.decode<std::shared_ptr<Node>>("other");
    map = coder.decode<std::shared_ptr<const StringMap<std::uint64_t>>>("map");
  }
  void encodeWithCoder(KeyedArchiver& coder) const override {
    coder.encode("text", text);
    coder.encode("number", number);
    coder.encode("next", next);
    coder.encode("other", other);
    coder.encodeSharingKeys("map", map);
  }

  String text;
  std::int64_t number = 0;
  std::shared_ptr<Node> next;
  std::shared_ptr<Node> other;
  std::shared_ptr<const StringMap<std::uint64_t>> map;
};

// As a newer version of Node would be: with a key that Node does not know, which holds an object.
class NewerNode : public Object {
  QRB_OBJECT;

 public:
  void encodeWithCoder(KeyedArchiver& coder) const override {
    coder.encode("added", added);
    coder.encode("text", String("newer"));
    coder.encode("next", next);
  }
  std::shared_ptr<Node> added;
  std::shared_ptr<Node> next;
};
QRB_DEFINE_OBJECT(NewerNode, Object, "ArchiveTestNode",
                  [](KeyedUnarchiver&) -> std::shared_ptr<Object> { return nullptr; });
// After it: of two classes of one name the archive finds the one defined last.
QRB_DEFINE_OBJECT(Node, Object, "ArchiveTestNode", &Node::initWithCoder);

class Secret : public Object {
  QRB_OBJECT;
};
QRB_DEFINE_OBJECT(Secret, Object, "ArchiveTestSecret", nullptr);

class Unrelated : public Object {
  QRB_OBJECT;

 public:
  static inline int made = 0;
  static std::shared_ptr<Object> initWithCoder(KeyedUnarchiver&) {
    ++made;
    return std::make_shared<Unrelated>();
  }
};
QRB_DEFINE_OBJECT(Unrelated, Object, "ArchiveTestUnrelated", &Unrelated::initWithCoder);

std::shared_ptr<Node> makeNode(const char* text, std::int64_t number = 0) {
  auto node = std::make_shared<Node>();
  node->text = text;
  node->number = number;
  return node;
}

// Both ends of one archive that several messages cross in.
class Pipe {
 public:
  std::string write(const std::shared_ptr<const Object>& object) {
    std::string bytes;
    ArchiveWriter(bytes, _writer).writeObject(object);
    return bytes;
  }
  std::shared_ptr<Node> read(std::string bytes) {
    auto message = ArchiveMessage::parse(std::move(bytes), _reader);
    auto object = message->root().object(Node::staticClass());
    _reader.retire(message);
    return std::static_pointer_cast<Node>(object);
  }
  std::shared_ptr<Node> send(const std::shared_ptr<const Object>& object) { return read(write(object)); }
  ArchiveWriterTables& writer() { return _writer; }

 private:
  ArchiveWriterTables _writer;
  ArchiveReaderTables _reader;
};

TEST(ArchiveTest, ValuesComeBackAsTheyWere) {
  auto node = makeNode("names need not be UTF-8: \xff\xfe", -4711);
  node->next = makeNode("", std::numeric_limits<std::int64_t>::min());
  node->map = std::make_shared<const StringMap<std::uint64_t>>(StringMap<std::uint64_t>{
      {"a path", ~std::uint64_t{0}}, {"with \xc3\xa4", std::uint64_t{1}}, {"bytes \xc3", std::uint64_t{2}}});
  auto read = KeyedUnarchiver::unarchivedObject<Node>(KeyedArchiver::archivedData(node));
  EXPECT_EQ(read->text, node->text);
  EXPECT_EQ(read->number, node->number);
  EXPECT_EQ(*read->map, *node->map);
  EXPECT_EQ(read->next->number, node->next->number);
  EXPECT_TRUE(read->next->text.has_value()) << "an empty string is not an absent one";
  EXPECT_EQ(read->next->next, nullptr);
  EXPECT_EQ(read->next->map, nullptr);
}

TEST(ArchiveTest, AnObjectThatOccursAgainIsOneObjectAndCostsNextToNothing) {
  auto shared = makeNode("shared, and long enough to notice if it were to cross more than once");
  Pipe pipe;
  auto first = makeNode("first");
  first->next = shared;
  first->other = shared;
  auto readFirst = pipe.send(first);
  EXPECT_EQ(readFirst->next, readFirst->other);

  auto second = makeNode("second");
  second->next = shared;
  second->other = first;
  std::string bytes = pipe.write(second);
  EXPECT_LT(bytes.size(), 32u);
  auto readSecond = pipe.read(bytes);
  EXPECT_EQ(readSecond->next, readFirst->next) << "identity holds from message to message";
  EXPECT_EQ(readSecond->other, readFirst);
}

TEST(ArchiveTest, KeysOfSharedMapsAreOneString) {
  Pipe pipe;
  auto withPath = [] {
    auto node = makeNode("");
    node->map = std::make_shared<const StringMap<std::uint64_t>>(
        StringMap<std::uint64_t>{{"a/path/of/some/length", std::uint64_t{1}}});
    return node;
  };
  auto first = pipe.send(withPath());
  auto second = pipe.send(withPath());
  EXPECT_TRUE(first->map->begin()->first.isIdenticalTo(second->map->begin()->first));
}

TEST(ArchiveTest, MoreKeysThanAShortHeaderHoldsAndManyReferencesWork) {
  Pipe pipe;
  std::vector<std::shared_ptr<Node>> sent;
  std::vector<std::shared_ptr<Node>> read;
  for (int number = 0; number < 70'000; ++number) {
    auto node = makeNode("", number);
    if (number > 0) node->next = sent[static_cast<std::size_t>(number) / 2];
    sent.push_back(node);
    read.push_back(pipe.send(node));
    if (number > 0) {
      ASSERT_EQ(read.back()->next, read[static_cast<std::size_t>(number) / 2]);
    }
  }
}

TEST(ArchiveTest, AnObjectUnderAnUnknownKeyCanStillBeReferredTo) {
  Pipe pipe;
  auto newer = std::make_shared<NewerNode>();
  newer->added = makeNode("met under the unknown key", 5);
  newer->next = newer->added;
  auto read = pipe.send(newer);
  EXPECT_EQ(read->text, "newer");
  EXPECT_EQ(read->next->number, 5);

  auto later = std::make_shared<NewerNode>();
  later->added = makeNode("met there alone", 6);
  pipe.send(later);
  auto node = makeNode("");
  node->next = later->added;
  EXPECT_EQ(pipe.send(node)->next->number, 6) << "in a later message too";
}

TEST(ArchiveTest, AMessageThatCouldNotBeWrittenLeavesTheArchiveAsItWas) {
  Pipe pipe;
  auto before = makeNode("before");
  pipe.send(before);
  auto mark = pipe.writer().mark();

  struct Holder : Node {
    std::shared_ptr<Secret> secret = std::make_shared<Secret>();
    void encodeWithCoder(KeyedArchiver& coder) const override {
      coder.encode("a new key", String("x"));
      coder.encode("secret", secret);
    }
  };
  std::string bytes;
  EXPECT_THROW(ArchiveWriter(bytes, pipe.writer()).writeObject(std::make_shared<Holder>()), ArchiveError);
  pipe.writer().rollBack(mark);

  auto after = makeNode("after");
  after->next = before;
  after->map = std::make_shared<const StringMap<std::uint64_t>>(StringMap<std::uint64_t>{{"k", std::uint64_t{1}}});
  auto read = pipe.send(after);
  EXPECT_EQ(read->next->text, "before");
  EXPECT_EQ(read->map->begin()->first, "k");
}

TEST(ArchiveTest, AClassThatItsPlaceDoesNotAdmitIsRefusedBeforeItIsMade) {
  std::string data = KeyedArchiver::archivedData(std::make_shared<Unrelated>());
  EXPECT_THROW(KeyedUnarchiver::unarchivedObject<Node>(data), ArchiveError);
  EXPECT_EQ(Unrelated::made, 0);
  EXPECT_NE(KeyedUnarchiver::unarchivedObjectOfClass(Object::staticClass(), data), nullptr);
}

TEST(ArchiveTest, MalformedObjectsAreRefused) {
  const std::string cases[] = {
      "",
      "\x81",                          // a map without its entry
      std::string("\x81\xc0\xc0", 3),  // no class name
      std::string("\x81\xc0\x00", 3),  // a class by a number that nothing has
      std::string("\xd4\x01\x00", 3),  // a reference to nothing
      std::string("\xd4\x02\x00", 3),  // an extension that is none of ours
      std::string("\x82\xc0\xafQRBNoSuchClass!\x05\x01", 19),
      "\x81\xa1k\x01",  // a dictionary, no object
      "\x01",
      "\x82\xc0\xaf"
      "ArchiveTestNode"
      "\xa4next\xd4\x01",  // cut short
  };
  for (const std::string& bytes : cases) {
    EXPECT_THROW(KeyedUnarchiver::unarchivedObject<Node>(bytes), ArchiveError) << testing::PrintToString(bytes);
  }
}

TEST(ArchiveTest, AnObjectThatHoldsItselfIsRefused) {
  std::string bytes =
      "\x82\xc0\xaf"
      "ArchiveTestNode"
      "\xa4next";
  bytes += std::string("\xd4\x01\x00", 3);
  EXPECT_THROW(KeyedUnarchiver::unarchivedObject<Node>(bytes), ArchiveError);
}

// Whatever is done to the bytes, reading them ends in an object or in a refusal.
TEST(ArchiveTest, AlteredBytesNeverDoWorseThanBeRefused) {
  auto node = makeNode("text", 7);
  node->next = makeNode("next");
  node->other = node->next;
  node->map = std::make_shared<const StringMap<std::uint64_t>>(
      StringMap<std::uint64_t>{{"one", std::uint64_t{1}}, {"two", std::uint64_t{2}}});
  std::string good = KeyedArchiver::archivedData(node);
  std::mt19937 random(1);
  std::size_t refused = 0;
  for (std::size_t position = 0; position < good.size(); ++position) {
    for (int value = 0; value < 256; ++value) {
      std::string bytes = good;
      bytes[position] = static_cast<char>(value);
      try {
        KeyedUnarchiver::unarchivedObject<Node>(bytes);
      } catch (const ArchiveError&) {
        ++refused;
      }
    }
    EXPECT_THROW(KeyedUnarchiver::unarchivedObject<Node>(good.substr(0, position)), ArchiveError);
  }
  EXPECT_GT(refused, 0u);
}

TEST(ArchiveTest, PlainDictionariesAndErrorsComeBack) {
  Dictionary dictionary = {{"n", nullptr},
                           {"b", true},
                           {"i", -5},
                           {"u", ~std::uint64_t{0}},
                           {"d", 1.5},
                           {"s", "\xc3\xa4"},
                           {"a", Dictionary::array({1, "x", nullptr})},
                           {"o", {{"k", "v"}}}};
  Error error("domain", -602, {{"key", String("value")}}, Error("behind", 2));
  std::string bytes;
  ArchiveWriterTables writerTables;
  ArchiveWriter writer(bytes, writerTables);
  writer.writeArrayHeader(2);
  Codec<Dictionary>::write(writer, dictionary);
  Codec<Error>::write(writer, error);
  ArchiveReaderTables readerTables;
  auto message = ArchiveMessage::parse(bytes, readerTables);
  EXPECT_EQ(Codec<Dictionary>::read(message->root().element(0)), dictionary);
  Error read = Codec<Error>::read(message->root().element(1));
  EXPECT_EQ(read, error);
  EXPECT_EQ(read.cause().domain(), "behind");
}

TEST(ArchiveTest, AKeySentOnceCannotBeMadeToFillTheMemoryOfTheReader) {
  // One key of a megabyte, named by number in ten thousand dictionaries of three bytes each.
  std::string bytes = std::string("\xdc\x27\x10", 3) + std::string("\x81\xdb\x00\x10\x00\x00", 6);
  bytes += std::string(std::size_t{1} << 20, 'k') + "\x01";
  for (int number = 1; number < 10'000; ++number) bytes += std::string("\x81\x00\x01", 3);
  ArchiveReaderTables tables;
  auto message = ArchiveMessage::parse(bytes, tables);
  EXPECT_THROW(Codec<Dictionary>::read(message->root()), ArchiveError);
}

TEST(ArchiveTest, MessagesKeptForWhatNothingAskedForAreLimited) {
  Pipe pipe;
  auto unasked = [] {
    auto newer = std::make_shared<NewerNode>();
    newer->added = makeNode(std::string(std::size_t{8} << 20, 'x').c_str());
    return newer;
  };
  EXPECT_THROW(
      {
        for (int number = 0; number < 16; ++number) pipe.send(unasked());
      },
      ArchiveError);
}

TEST(MessageScannerTest, FindsTheSameEndHoweverTheBytesArrive) {
  std::string value =
      "\x93\xa3"
      "abc"
      "\x82\x01\xc4\x02zz\xcb" +
      std::string(8, 'd') + "\xdc";
  value += std::string("\x00\x02\xc0\xd6\x01....\xcd\x01\x00", 12);
  for (std::size_t cut = 0; cut <= value.size(); ++cut) {
    MessageScanner scanner;
    std::string tail = value + "next message";
    auto first = scanner.scan(std::string_view(tail).substr(0, cut));
    EXPECT_EQ(first, cut < value.size() ? MessageScanner::Outcome::incomplete : MessageScanner::Outcome::complete);
    EXPECT_EQ(scanner.scan(tail), MessageScanner::Outcome::complete);
    EXPECT_EQ(scanner.length(), value.size()) << cut;
  }
}

TEST(MessageScannerTest, WhatGoesBeyondALimitIsRefusedFromItsHeaderOn) {
  MessageLimits limits{1000, 100, 5};
  struct Case {
    std::string bytes;
    MessageScanner::Outcome outcome;
  };
  using enum MessageScanner::Outcome;
  const Case cases[] = {
      {"\xc1", refused},
      {std::string("\xc6\x40\x00\x00\x00", 5), refused},
      {std::string("\xdb\xff\xff\xff\xff", 5), refused},
      {std::string("\xdd\x00\x00\x00\x65", 5), refused},
      {std::string("\xdf\x80\x00\x00\x00", 5), refused},
      {std::string(6, '\x91'), refused},
      {std::string(5, '\x91') + "\x01", complete},
      {std::string("\xc5\x03\xe0", 3) + std::string(992, 'x'), complete},
      {std::string("\xdc\x00\x63", 3) + std::string(99, '\x01'), complete},
      {std::string("\xc5\x03", 2), incomplete},
  };
  for (const Case& each : cases) {
    MessageScanner scanner(limits);
    EXPECT_EQ(scanner.scan(each.bytes), each.outcome) << testing::PrintToString(each.bytes.substr(0, 8));
  }
}

}  // namespace
}  // namespace qrb
