#include <sys/stat.h>

#include "SubversionTesting.h"

// Working copies as earlier versions of svn made them, written here by what is known of their forms.
namespace qrb::test {
namespace {

namespace fs = std::filesystem;

class SubversionFormatTest : public SubversionTest {
 protected:
  SubversionFormatTest() {
    _repository.write("file.txt", "1\n");
    _revision = _repository.commit();
    _identifier = _repository.svn({"info", "--show-item", "repos-uuid"});
    _checksum = _repository.run({"md5sum", "file.txt"}).substr(0, 32);
  }

  /// The current form made into one of `version`, 29 being svn 1.7's; a later number than any is from the future.
  std::string withDatabaseOf(int version) const {
    std::string root = _repository.pathOf("version" + std::to_string(version));
    _repository.svn({"checkout", _repository.url("trunk"), root});
    std::string change = version < 31 ? "ALTER TABLE NODES DROP COLUMN inherited_props;" : "";
    _repository.run({"/usr/bin/python3", "-c",
                     "import sqlite3,sys\nd=sqlite3.connect(sys.argv[1])\nfor s in sys.argv[2].split(';'):\n "
                     "d.execute(s)\nd.execute('PRAGMA user_version='+sys.argv[3])\nd.commit()",
                     root + "/.svn/wc.db", change, std::to_string(version)});
    return root;
  }

  /// A form of data in each folder: the list of entries in lines, or in markup up to version 6.
  std::string withEntriesOf(int version) const {
    std::string root = _repository.pathOf("version" + std::to_string(version));
    fs::create_directories(root + "/.svn/text-base");
    for (const char* name : {"wcprops", "prop-base", "props", "tmp/text-base", "tmp/prop-base", "tmp/props"}) {
      fs::create_directories(root + "/.svn/" + name);
    }
    std::ofstream(root + "/file.txt") << "1\n";
    std::ofstream(root + "/.svn/text-base/file.txt.svn-base") << "1\n";
    std::ofstream(root + "/.svn/format") << version << "\n";
    const std::string date = "2008-01-01T00:00:00.000000Z";
    std::ofstream entries(root + "/.svn/entries");
    if (version > 6) {
      entries << version << "\n\ndir\n"
              << _revision << "\n"
              << _repository.url("trunk") << "\n"
              << _repository.rootURL() << "\n\n\n\n"
              << date << "\n"
              << _revision << "\nada\n"
              << std::string(14, '\n') << _identifier << "\n\f\n"
              << "file.txt\nfile\n\n\n\n\n"
              << date << "\n"
              << _checksum << "\n"
              << date << "\n"
              << _revision << "\nada\n\f\n";
    } else {
      entries
          << "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<wc-entries\n   xmlns=\"svn:\">\n<entry\n   committed-rev=\""
          << _revision << "\"\n   name=\"\"\n   committed-date=\"" << date << "\"\n   url=\""
          << _repository.url("trunk") << "\"\n   last-author=\"ada\"\n   kind=\"dir\"\n   uuid=\"" << _identifier
          << "\"\n   repos=\"" << _repository.rootURL() << "\"\n   revision=\"" << _revision
          << "\"/>\n<entry\n   committed-rev=\"" << _revision << "\"\n   name=\"file.txt\"\n   text-time=\"" << date
          << "\"\n   committed-date=\"" << date << "\"\n   checksum=\"" << _checksum
          << "\"\n   last-author=\"ada\"\n   kind=\"file\"/>\n</wc-entries>\n";
    }
    return root;
  }

  static std::vector<QRBSourceControlWorkingCopyPtr> scan(const std::string& folder) {
    std::promise<std::vector<QRBSourceControlWorkingCopyPtr>> found;
    auto future = found.get_future();
    QRBSourceControlWorkingCopy::scanForWorkingCopiesInFolderPaths(
        {folder}, false, {system()},
        [&](const std::vector<QRBSourceControlWorkingCopyPtr>& workingCopies, const auto&...) {
          found.set_value(workingCopies);
        });
    return future.get();
  }
  static Error statusError(const QRBSourceControlWorkingCopyPtr& workingCopy) {
    Reply<QRBSourceControlPathStatusesPtr, QRBSourceControlPathStatusesPtr> reply;
    manager()->filesAndStatusOfWorkingCopy(workingCopy, false, reply.completion());
    return std::get<2>(reply.wait());
  }
  static Error upgrade(const QRBSourceControlWorkingCopyPtr& workingCopy) {
    return perform([&](auto done) { workingCopy->upgradeWithProgressBlock({}, done); });
  }

  std::string _revision;
  std::string _identifier;
  std::string _checksum;
};

TEST_F(SubversionFormatTest, earlierFormsAreFoundRefusedAndUpgraded) {
  for (int version : {4, 6, 8, 9, 10, 29, 30}) {
    SCOPED_TRACE(version);
    std::string root = version > 10 ? withDatabaseOf(version) : withEntriesOf(version);
    auto found = scan(root);
    ASSERT_EQ(found.size(), 1u);
    auto workingCopy = found.front();
    EXPECT_TRUE(workingCopy->needsUpgrade());
    if (version <= 10) {
      EXPECT_EQ(workingCopy->repository()->URL().absoluteString(), String(_repository.rootURL()));
    }
    Error refused = statusError(workingCopy);
    EXPECT_TRUE(has(refused, Code::workingCopyNeedsUpgrade)) << refused.description() << underlyingMessage(refused);
    Error upgraded = upgrade(workingCopy);
    ASSERT_FALSE(upgraded) << upgraded.description() << underlyingMessage(upgraded);
    EXPECT_EQ(statusOfWorkingCopy(workingCopyAt(root, _repository.rootURL())), (std::map<std::string, Words>()));
    EXPECT_FALSE(scan(root).front()->needsUpgrade());
    EXPECT_TRUE(has(upgrade(workingCopy), Code::workingCopyUpgradeNotNeeded));
  }
  auto future = workingCopyAt(withDatabaseOf(99), _repository.rootURL());
  Error tooNew = statusError(future);
  EXPECT_TRUE(has(tooNew, Code::workingCopyTooNew)) << tooNew.description() << underlyingMessage(tooNew);
}

}  // namespace
}  // namespace qrb::test
