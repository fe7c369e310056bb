#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "ArchiveSamples.h"
#include "KeyedArchiver.h"
#include "KeyedUnarchiver.h"

namespace qrb::test {
namespace {

std::filesystem::path fixture(const std::string& name) {
  return std::filesystem::path(QRB_FIXTURES) / "archives" / (name + ".archive");
}

// Hosts keep archives for years. The fixtures are never written anew: a class that changes gets another one beside
// them. (A new one is written by running this test with --gtest_also_run_disabled_tests.)
TEST(ArchiveFixtureTest, WhatAnOlderBuildArchivedStillReadsAsTheSameObjects) {
  for (const auto& [name, sample] : archiveSamples()) {
    SCOPED_TRACE(name);
    std::ifstream file(fixture(name), std::ios::binary);
    ASSERT_TRUE(file) << "no such fixture";
    std::string archived((std::istreambuf_iterator<char>(file)), {});
    auto object = KeyedUnarchiver::unarchivedObjectOfClass(Object::staticClass(), archived);
    EXPECT_EQ(object->className(), sample->className());
    EXPECT_EQ(object->description(), sample->description());
    // Every key, whatever the class's own equality looks at.
    EXPECT_EQ(testing::PrintToString(KeyedArchiver::archivedData(object)),
              testing::PrintToString(KeyedArchiver::archivedData(sample)));
  }
}

TEST(ArchiveFixtureTest, DISABLED_WriteFixturesThatAreMissing) {
  for (const auto& [name, sample] : archiveSamples()) {
    if (std::filesystem::exists(fixture(name))) continue;
    std::ofstream(fixture(name), std::ios::binary) << KeyedArchiver::archivedData(sample);
  }
}

}  // namespace
}  // namespace qrb::test
