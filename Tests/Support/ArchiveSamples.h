#pragma once

#include <map>
#include <memory>
#include <string>

#include "QRBSourceControlAccount.h"
#include "QRBSourceControlBasicAuthenticationStrategy.h"
#include "QRBSourceControlLockedRevisionLocation.h"
#include "QRBSourceControlModelPrivate.h"
#include "QRBSourceControlSSHKeysAuthenticationStrategy.h"

namespace qrb::test {

/// One object of every archived class, each with all its keys, by the name of its fixture. Nothing in them is drawn or
/// depends on the day, so that today's objects can be compared with those that an older build archived.
inline std::map<std::string, std::shared_ptr<const Object>> archiveSamples() {
  auto system = QRBSourceControlSystem::initWithName("Git", "org.qrb.Orlix.sourcecontrol.Git", "2.1", ".git",
                                                     {"git", ".git"}, true, true, false, true, false, 7);
  auto legacy = QRBSourceControlSystem::initWithNameLegacyPlugInForIdentifier(
      "Subversion", "org.qrb.Orlix.sourcecontrol.Subversion.legacy", "1.6", "org.qrb.Orlix.sourcecontrol.Subversion",
      ".svn", {"svn"}, false, false, true, true, true, 3);
  auto revision = QRBSourceControlRevision::initWithIdentifier("0123456789abcdef", "01234567");
  auto pinned = QRBSourceControlRevisionLocation::initWithRevision(revision);
  auto branch = QRBSourceControlBranch::initWithBranchNameRemoteName("feature/x", true, "origin");
  auto tag = QRBSourceControlTag::initWithNewTagName("v1 \xc3\xa4");
  auto path = QRBSourceControlPathLocation::initWithRelativePath("trunk/src/");
  auto layout = QRBSourceControlBranchAndTagLocations::locationsWithStandardLayout();
  auto basic = QRBSourceControlBasicAuthenticationStrategy::initWithURLDefinedUsername("user", "pass\xc3\xb6");
  auto keys = QRBSourceControlSSHKeysAuthenticationStrategy::initWithUsername(
      "git", URL::fileURL("/home/user/.ssh/id_rsa"), "passphrase");
  auto account = QRBSourceControlAccount::initWithName("Team", URL("https://server.example/"), basic);

  auto repository = QRBSourceControlRepository::initWithURL(URL::fileURL("/home/user/project", true), "ROOT", system);
  repository->set_id("8C3F0B52-0A29-4C0C-9C0A-6B8B3C9E7A11");
  repository->setSecondaryIdentifier("ABCDEF0");
  auto copy = QRBSourceControlWorkingCopy::initWithFileURL(URL::fileURL("/home/user/project", true), repository);
  copy->set_id("1D0E4C7A-2F55-4F8E-8E0B-2B1C3D4E5F60");
  copy->setBranchAndTagLocations(layout);
  auto author = QRBSourceControlAuthor::initWithUsername("Ann \xc3\x84rger", "Ann", {"ann@example.org"},
                                                         URL("https://example.org/ann.png"));
  auto item = QRBSourceControlLogItem::initWithAuthor(
      author, revision, Date(std::chrono::microseconds(1'234'567'890'123'456)), "subject\n\nbody",
      std::make_shared<const QRBSourceControlPathStatuses>(
          QRBSourceControlPathStatuses{{"a b", std::uint64_t{4}}, {"bytes \xff", std::uint64_t{1} << 63}}),
      copy, std::make_shared<const QRBSourceControlFileRenames>(QRBSourceControlFileRenames{{"old", String("new")}}));
  auto blame = QRBSourceControlBlameItem::initWithLineRange({10, 5}, item);

  std::map<std::string, std::shared_ptr<const Object>> samples;
  samples["system"] = system;
  samples["legacy-system"] = legacy;
  samples["revision"] = revision;
  samples["location"] = pinned;
  samples["branch"] = branch;
  samples["tag"] = tag;
  samples["path"] = path;
  samples["layout"] = layout;
  samples["basic"] = basic;
  samples["ssh-keys"] = keys;
  samples["account"] = account;
  samples["repository"] = repository;
  samples["working-copy"] = copy;
  samples["author"] = author;
  samples["log-item"] = item;
  samples["blame-item"] = blame;
  samples["head"] = QRBSourceControlRevision::sharedHeadRevision();
  samples["unversioned"] = QRBSourceControlRevision::sharedUnversionedRevision();
  samples["unversioned-item"] = QRBSourceControlLogItem::sharedUnversionedLogItem();
  return samples;
}

}  // namespace qrb::test
