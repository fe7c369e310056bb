#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "HostileCase.h"

namespace qrb::hostile {

/// What a campaign is asked for.
struct Options {
  std::uint64_t seed = 1;
  std::uint64_t first = 0;
  /// 0 for no limit.
  std::uint64_t cases = 0;
  std::uint64_t seconds = 0;
  std::size_t jobs = 2;
  /// All requests on each case; else those that look at every file, and a few others in turn.
  bool allRequests = false;
  /// Each case is kept, whatever was found.
  bool keep = false;
  /// What looking changes inside the repository is no failure.
  bool mayChangeInside = false;
  /// In seconds, for one request.
  unsigned limit = 60;
  /// For each process of a plug-in, and for the host, in MiB.
  std::uint64_t memory = 256;
  std::string plugInDirectory;
};

/// The folders of a campaign; absolute.
struct RunFolders {
  std::string root;
  std::string marks() const { return root + "/marks"; }
  std::string kept() const { return root + "/kept"; }
  std::string home() const { return root + "/home"; }
  std::string program() const { return root + "/program"; }
};

/// One way in which a case went wrong.
struct Finding {
  /// One of few words, to be counted.
  std::string kind;
  std::string detail;
};

/// Looks at cases, one after another, with real plug-in processes. A process has one at most.
class Looking {
 public:
  /// `folder` is for the cases and made by this.
  Looking(const Options& options, RunFolders run, std::string folder, const std::vector<Template>& templates);

  /// Makes the case, looks at it with several requests at once, and tells what went wrong. A case that fails is looked
  /// at with each request alone then, to tell which it is, and kept.
  std::vector<Finding> run(std::uint64_t number);

 private:
  std::vector<Finding> look(const HostileCase& hostile, std::uint64_t number, const std::vector<std::size_t>& chosen);
  std::vector<std::size_t> requestsFor(std::uint64_t number) const;
  void keep(const HostileCase& hostile, std::uint64_t number, const std::vector<Finding>& findings) const;
  std::vector<Finding> memoryFindings();

  const Options& _options;
  const RunFolders _run;
  const std::string _folder;
  const std::vector<Template>& _templates;
};

}  // namespace qrb::hostile
