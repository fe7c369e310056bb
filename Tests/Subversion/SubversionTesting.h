#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "GitPlugInTesting.h"
#include "QRBSourceControlBranch.h"
#include "QRBSourceControlBranchAndTagLocations.h"
#include "QRBSourceControlPathLocation.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlTag.h"
#include "RunProgram.h"
#include "TemporaryDirectory.h"

namespace qrb::test {

using Files = std::vector<String>;

/// A repository with trunk, branches and tags in a folder of its own, worked in by svn, and a working copy of its
/// trunk.
class SubversionRepository {
 public:
  SubversionRepository() {
    std::filesystem::create_directories(pathOf("home"));
    run({"svnadmin", "create", pathOf("repository")});
    svn({"mkdir", "-m", "layout", url("trunk"), url("branches"), url("tags")});
    svn({"checkout", url("trunk"), root()});
  }

  std::string pathOf(const std::string& name) const { return _folder.string() + "/" + name; }
  /// Of the working copy.
  std::string root() const { return pathOf("work"); }
  std::string rootURL() const { return "file://" + pathOf("repository"); }
  std::string url(const std::string& path) const { return rootURL() + "/" + path; }

  /// In the working copy.
  void write(const std::string& name, const std::string& text) const {
    std::filesystem::path path(root() + "/" + name);
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << text;
  }
  std::string read(const std::string& name) const { return textOf(root() + "/" + name); }
  static std::string textOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  /// Runs svn in the working copy, or above before there is one; the output is without the line's end. Throws where it
  /// fails.
  std::string svn(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {"svn", "--non-interactive"});
    return run(arguments);
  }
  std::string run(const std::vector<std::string>& arguments) const {
    std::string place = std::filesystem::is_directory(root()) ? root() : _folder.string();
    ProgramResult result = runProgram(arguments, environment(), place);
    if (result.status != 0) throw std::runtime_error(arguments.front() + ": " + result.output);
    return result.output.substr(0, result.output.find_last_not_of('\n') + 1);
  }
  /// Everything in the working copy, new files too. Returns the revision.
  std::string commit(const std::string& message = "message") const {
    svn({"add", "--force", "."});
    svn({"commit", "-m", message});
    svn({"update"});
    return svn({"info", "--show-item", "revision"});
  }
  /// A program that the repository runs at that moment.
  void setHook(const std::string& name, const std::string& script) const {
    std::string path = pathOf("repository/hooks/" + name);
    std::ofstream(path) << "#!/bin/sh\n" << script;
    std::filesystem::permissions(path, std::filesystem::perms(0755));
  }
  std::vector<std::string> environment() const {
    return {std::string("PATH=") + ::getenv("PATH"), "HOME=" + pathOf("home"), "LC_ALL=C.UTF-8"};
  }

 private:
  TemporaryDirectory _folder;
};

/// Asks the Subversion plug-in through a process of its own for each request, as a host does.
class SubversionTest : public GitPlugInTest {
 protected:
  static QRBSourceControlSystemPtr system() {
    return QRBSourceControlSystem::initWithName("Subversion", "org.qrb.Orlix.sourcecontrol.Subversion", "0", ".svn", {},
                                                false, false, true, true, true, 7);
  }
  static QRBSourceControlRemoteRepositoryPtr remoteAt(const std::string& url) {
    return QRBSourceControlRemoteRepository::initUnsavedWithURL(URL(url), system());
  }
  static QRBSourceControlWorkingCopyPtr workingCopyAt(const std::string& path, const std::string& url) {
    return QRBSourceControlWorkingCopy::initWithFileURLUnidentifiableRepository(URL::fileURL(path, true),
                                                                                remoteAt(url));
  }
  QRBSourceControlWorkingCopyPtr workingCopy() const {
    return workingCopyAt(_repository.root(), _repository.rootURL());
  }
  QRBSourceControlRepositoryPtr repository() const { return remoteAt(_repository.rootURL()); }

  /// Runs a request that answers nothing but an error.
  template <class Request>
  static Error perform(Request&& request) {
    Reply<> reply;
    request(reply.completion());
    return std::get<0>(reply.wait());
  }
  /// The same for one that answers a value besides.
  template <class Value, class Request>
  static std::tuple<Value, Error> ask(Request&& request) {
    Reply<Value> reply;
    request(reply.completion());
    return reply.wait();
  }

  std::tuple<QRBSourceControlRevisionPtr, Error> commit(const Files& files, const String& message = "message") const {
    return ask<QRBSourceControlRevisionPtr>([&](auto done) { workingCopy()->commitFiles(files, message, done); });
  }
  Error update() const {
    return perform([&](auto done) {
      workingCopy()->forceUpdateWorkingCopyFromRepository(remoteAt(_repository.rootURL()), {}, done);
    });
  }
  std::tuple<QRBSourceControlRevisionLocationPtr, Error> switchTo(
      const QRBSourceControlRevisionLocationPtr& location) const {
    return ask<QRBSourceControlRevisionLocationPtr>([&](auto done) { workingCopy()->switchLocation(location, done); });
  }
  Error merge(const std::string& name) const {
    return perform([&](auto done) { workingCopy()->mergeBranch(branch(name), done); });
  }
  std::tuple<QRBSourceControlWorkingCopyPtr, Error> checkout(
      const std::string& url, const std::string& path,
      const QRBSourceControlRevisionLocationPtr& location = nullptr) const {
    return ask<QRBSourceControlWorkingCopyPtr>([&](auto done) {
      remoteAt(url)->createWorkingCopyAtURL(URL::fileURL(path, true), location, nullptr, {}, done);
    });
  }
  /// The local status as words.
  std::map<std::string, Words> status() const { return statusOfWorkingCopy(workingCopy()); }
  static std::map<std::string, Words> statusOfWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy) {
    Reply<QRBSourceControlPathStatusesPtr, QRBSourceControlPathStatusesPtr> reply;
    manager()->filesAndStatusOfWorkingCopy(workingCopy, false, reply.completion());
    auto [local, remote, error] = reply.wait();
    EXPECT_FALSE(error) << error.description() << underlyingMessage(error);
    return local ? wordsOf(*local) : std::map<std::string, Words>();
  }
  static QRBSourceControlBranchPtr branch(const std::string& name) {
    return QRBSourceControlBranch::initWithBranchName(name, false);
  }

  SubversionRepository _repository;
};

}  // namespace qrb::test
