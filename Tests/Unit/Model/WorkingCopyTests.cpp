#include "QRBSourceControlWorkingCopy.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "ModelTesting.h"
#include "QRBSourceControlBranch.h"
#include "QRBSourceControlBranchAndTagLocations.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlStatusValues.h"

namespace {

using qrb::test::makeSystem;
using qrb::test::throughArchive;
using WorkingCopy = QRBSourceControlWorkingCopy;
using WorkingCopyPtr = QRBSourceControlWorkingCopyPtr;
using Statuses = QRBSourceControlPathStatuses;

qrb::URL kFolder("file:///disk/copy/");

QRBSourceControlRepositoryPtr repository(qrb::String identifier = "r",
                                         QRBSourceControlSystemPtr system = makeSystem()) {
  return QRBSourceControlRepository::initWithURL(qrb::URL("https://host/r"), std::move(identifier), std::move(system));
}

QRBSourceControlPathStatusesPtr report(Statuses statuses) {
  return std::make_shared<const Statuses>(std::move(statuses));
}

TEST(WorkingCopy, IsMadeOnlyOfAFileURLAndARepositoryThatCanBeIdentified) {
  struct Case {
    const char* what;
    qrb::URL url;
    QRBSourceControlRepositoryPtr repository;
    bool identified;
    bool unidentifiable;
  };
  const Case cases[] = {
      {"a folder", kFolder, repository(), true, true},
      {"no identifier", kFolder, repository({}), false, true},
      {"no repository", kFolder, nullptr, false, false},
      {"a network address", qrb::URL("https://host/disk/"), repository(), false, false},
      {"an scp-style address", qrb::URL("ann@host:work"), repository(), false, false},
      {"no URL", {}, repository(), false, false},
  };
  for (const Case& each : cases) {
    EXPECT_EQ(WorkingCopy::initWithFileURL(each.url, each.repository) != nullptr, each.identified) << each.what;
    EXPECT_EQ(WorkingCopy::initWithFileURL(each.url, each.repository, nullptr, nullptr) != nullptr, each.identified)
        << each.what;
    EXPECT_EQ(WorkingCopy::initWithFileURLUnidentifiableRepository(each.url, each.repository) != nullptr,
              each.unidentifiable)
        << each.what;
    WorkingCopyPtr upgradable = WorkingCopy::initWithUpgradableFileURL(each.url, each.repository);
    ASSERT_EQ(upgradable != nullptr, each.unidentifiable) << each.what;
    if (upgradable != nullptr) {
      EXPECT_TRUE(upgradable->needsUpgrade());
    }
  }
}

TEST(WorkingCopy, HasALayoutOnlyWhereTheSystemNeedsOne) {
  EXPECT_EQ(WorkingCopy::initWithFileURL(kFolder, repository())->branchAndTagLocations(), nullptr);
  auto system = makeSystem("test.folders", {.requiresLocationsForBranchesAndTags = true});
  WorkingCopyPtr workingCopy = WorkingCopy::initWithFileURL(kFolder, repository("r", system));
  ASSERT_NE(workingCopy->branchAndTagLocations(), nullptr);
  EXPECT_FALSE(workingCopy->branchAndTagLocations()->isCompleteForBranches());
  auto layout = QRBSourceControlBranchAndTagLocations::locationsWithStandardLayout();
  auto branch = QRBSourceControlBranch::initWithBranchName("main", true);
  WorkingCopyPtr given = WorkingCopy::initWithFileURL(kFolder, repository("r", system), branch, layout);
  EXPECT_EQ(given->branchAndTagLocations(), layout);
  EXPECT_EQ(given->cachedCurrentLocation(), branch);
}

TEST(WorkingCopy, EqualityGoesByFolderAndSystem) {
  WorkingCopyPtr workingCopy = WorkingCopy::initWithFileURL(kFolder, repository());
  WorkingCopyPtr otherRepository = WorkingCopy::initWithFileURL(kFolder, repository("another"));
  EXPECT_TRUE(workingCopy->isEqual(otherRepository));
  EXPECT_EQ(workingCopy->hash(), otherRepository->hash());
  EXPECT_NE(workingCopy->_id(), otherRepository->_id());
  EXPECT_FALSE(workingCopy->isEqual(WorkingCopy::initWithFileURL(qrb::URL("file:///disk/other/"), repository())));
  EXPECT_FALSE(workingCopy->isEqual(WorkingCopy::initWithFileURL(kFolder, repository("r", makeSystem("other")))));
}

TEST(WorkingCopy, KeepsTheClassOfItsRepositoryInAnArchive) {
  auto remote = QRBSourceControlRemoteRepository::initUnsavedWithURL(qrb::URL("https://host/r"), "r", makeSystem());
  WorkingCopyPtr decoded = throughArchive(WorkingCopy::initWithFileURL(kFolder, remote));
  EXPECT_EQ(decoded->repository()->className(), "QRBSourceControlRemoteRepository");
}

TEST(WorkingCopy, AReportReplacesTheOneBeforeAndOneThatDoesNotComeChangesNothing) {
  WorkingCopyPtr workingCopy = WorkingCopy::initWithFileURL(kFolder, repository());
  EXPECT_EQ(workingCopy->cachedSourceControlLocalStatusForFile("a"), 0u);
  workingCopy->updateCachedStatus(report({{"a", 1}, {"b\xff", std::uint64_t{1} << 56}, {"zero", 0}}),
                                  report({{"a", 4}, {"r", 2}}));
  EXPECT_EQ(workingCopy->cachedSourceControlLocalStatusForFile("a"), 1u);
  EXPECT_EQ(workingCopy->cachedSourceControlRemoteStatusForFile("a"), 4u);
  EXPECT_EQ(workingCopy->cachedSourceControlLocalStatusForFile("b\xff"), std::uint64_t{1} << 56);
  EXPECT_EQ(workingCopy->cachedSourceControlLocalStatusForFile("unknown"), 0u);
  EXPECT_EQ(workingCopy->cachedSourceControlLocalStatusForFile({}), 0u);
  EXPECT_THAT(workingCopy->cachedPathsWithStatus(),
              testing::ElementsAre(qrb::String("a"), qrb::String("b\xff"), qrb::String("r"), qrb::String("zero")));
  workingCopy->updateCachedStatus(report({{"c", 1}}), nullptr);
  EXPECT_THAT(workingCopy->cachedPathsWithLocalStatus(), testing::ElementsAre(qrb::String("c")));
  EXPECT_THAT(workingCopy->cachedPathsWithRemoteStatus(), testing::ElementsAre(qrb::String("a"), qrb::String("r")));
  workingCopy->updateCachedStatus(report({}), nullptr);
  EXPECT_TRUE(workingCopy->cachedPathsWithLocalStatus().empty());
  EXPECT_EQ(workingCopy->cachedSourceControlRemoteStatusForFile("r"), 2u);
}

TEST(StatusValues, AreTheUnsignedValuesOfNumbersAndNothingElse) {
  struct Case {
    qrb::Dictionary number;
    std::uint64_t status;
  };
  const Case cases[] = {
      {0, 0},
      {5, 5},
      {UINT64_MAX, UINT64_MAX},
      {std::uint64_t{1} << 63, std::uint64_t{1} << 63},
      {7.9, 7},
      {-0.5, 0},
      {-1, UINT64_MAX},
      {0x1p63, std::uint64_t{1} << 63},
      {-3.0, 0},
      {0x1p64, 0},
      {std::nan(""), 0},
      {"5", 0},
      {nullptr, 0},
      {true, 0},
      {qrb::Dictionary::array(), 0},
  };
  for (const Case& each : cases) EXPECT_EQ(qrbscm_statusValue(each.number), each.status) << each.number;
}

}  // namespace
