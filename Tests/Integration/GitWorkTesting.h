#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>

#include "GitPlugInTesting.h"
#include "QRBSourceControlBranch.h"
#include "QRBSourceControlTag.h"

namespace qrb::test {

using Files = std::vector<String>;

/// What people change in a working copy, asked of the plug-in and waited for.
class GitWorkTest : public GitPlugInTest {
 protected:
  GitWorkTest() {
    _repository.run({"config", "user.name", std::string(GitRepository::kAuthorName)});
    _repository.run({"config", "user.email", std::string(GitRepository::kAuthorEmail)});
  }

  /// Runs a request that answers nothing but an error.
  template <class Request>
  static Error perform(Request&& request) {
    Reply<> reply;
    request(reply.completion());
    return std::get<0>(reply.wait());
  }

  Error add(const Files& files) {
    return perform([&](auto done) { workingCopy()->addFiles(files, done); });
  }
  Error remove(const Files& files) {
    return perform([&](auto done) { workingCopy()->removeFiles(files, done); });
  }
  Error copy(const Files& files, const Files& to) {
    return perform([&](auto done) { workingCopy()->copyFiles(files, to, done); });
  }
  Error move(const Files& files, const Files& to) {
    return perform([&](auto done) { workingCopy()->moveFiles(files, to, done); });
  }
  Error discard(const Files& files) {
    return perform([&](auto done) { workingCopy()->discardChangesInFiles(files, done); });
  }
  Error discardAll() {
    return perform([&](auto done) { workingCopy()->discardAllChangesWithCompletionBlock(done); });
  }
  Error resolve(const Files& files) {
    return perform([&](auto done) { workingCopy()->markAsResolvedFiles(files, done); });
  }
  Error merge(const QRBSourceControlBranchPtr& branch) {
    return perform([&](auto done) { workingCopy()->mergeBranch(branch, done); });
  }
  std::tuple<QRBSourceControlRevisionPtr, Error> commit(const Files& files, const String& message = "message") {
    Reply<QRBSourceControlRevisionPtr> reply;
    workingCopy()->commitFiles(files, message, reply.completion());
    return reply.wait();
  }
  std::tuple<QRBSourceControlRevisionLocationPtr, Error> switchTo(const QRBSourceControlRevisionLocationPtr& location) {
    Reply<QRBSourceControlRevisionLocationPtr> reply;
    manager()->switchLocation(location, workingCopy(), reply.completion());
    return reply.wait();
  }
  std::tuple<URL, Error> exportTo(const String& file, const QRBSourceControlRevisionLocationPtr& location,
                                  const std::string& folder) {
    Reply<URL> reply;
    workingCopy()->exportFile(file, location, URL::fileURL(folder, true), reply.completion());
    return reply.wait();
  }

  QRBSourceControlWorkingCopyPtr workingCopy() { return workingCopyAt(_repository.root()); }
  std::map<std::string, Words> status() { return statusWordsOf(_repository.root()); }

  /// The bytes of a file of the working copy; "(gone)" where there is none.
  std::string read(const std::string& path) const { return readFile(_repository.pathOf(path)); }
  static std::string readFile(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    if (!stream) return "(gone)";
    return {std::istreambuf_iterator<char>(stream), {}};
  }

  /// Two branches that have changed the same line of "both", "side" being checked out nowhere.
  void makeConflictingBranches() {
    _repository.write("both", "base\n");
    _repository.write("other", "base\n");
    _repository.commit("base");
    _repository.run({"checkout", "-q", "-b", "side"});
    _repository.write("both", "side\n");
    _repository.write("from side", "side\n");
    _repository.commit("side");
    _repository.run({"checkout", "-q", "main"});
    _repository.write("both", "main\n");
    _repository.commit("main");
  }

  GitRepository _repository;
};

}  // namespace qrb::test
