#pragma once

#include <optional>
#include <string>

#include "Error.h"
#include "Guard.h"
#include "QRBSourceControlForward.h"
#include "SubversionClient.h"
#include "SubversionErrors.h"
#include "SubversionLayout.h"
#include "SubversionScratch.h"

/// What a request may do besides reading.
enum class SubversionPurpose {
  /// Nothing, and it reaches no server.
  lookHere,
  /// Nothing, but it may reach the server.
  look,
  /// Nothing, and it reaches the server, too; the library needs files to work with.
  compare,
  /// Change the working copy or the repository.
  change,
};

/// The library, opened for what one request is about: a working copy, or a repository or a place in one. One request
/// opens one.
class SubversionSession {
 public:
  /// The guard, where there is one, has to outlive the session; the library's temporary files are in its care.
  explicit SubversionSession(int hostConnection, qrb::Guard* guard = nullptr)
      : _guard(guard), _client(hostConnection) {}

  qrb::Error open(const QRBSourceControlWorkingCopyPtr& workingCopy, SubversionPurpose purpose);
  /// A remote repository brings what to log in with. The server is not asked anything yet.
  qrb::Error open(const QRBSourceControlRepositoryPtr& repository, SubversionPurpose purpose);

  SubversionClient& client() { return _client; }
  /// The folder of the working copy; empty for a repository.
  const std::string& folder() const { return _folder; }
  /// What is known of the working copy's root, or of the repository's address once root() or info() were asked.
  const SubversionInfo& info() const { return _info; }
  /// The repository's root; asks the server where only that knows it.
  qrb::Error root(std::string& rootURL);
  /// What follows the root in the address of the working copy, or of the repository once root() was asked.
  std::string path() const { return _info.repositoryPath(); }

  /// The layout that the request brings or, where that says too little, the one that is found around the path. Asks the
  /// server for that.
  qrb::Error layout(const QRBSourceControlBranchAndTagLocationsPtr& given, SubversionLayout& layout);
  /// The layout around a path, whatever the request brings.
  qrb::Error detect(const std::string& path, SubversionLayout& layout);
  /// Where a location is, with the revision that pins it. `given` is as above, and asked only where it matters.
  qrb::Error locate(const QRBSourceControlRevisionLocationPtr& location,
                    const QRBSourceControlBranchAndTagLocationsPtr& given, SubversionTarget& target);
  /// The folders in a folder of the repository.
  SubversionFolders folders();

  qrb::Error errorFor(const SubversionFailure& failure) const { return subversionError(failure, _name, &_client); }
  /// The same, where the location is what has to be there.
  qrb::Error errorFor(const SubversionFailure& failure, const QRBSourceControlRevisionLocationPtr& location) const;

 private:
  qrb::Error enterSandbox(SubversionPurpose purpose);

  qrb::Guard* _guard;
  std::optional<qrb::Guard> _ownGuard;
  std::optional<SubversionScratch> _scratch;
  SubversionClient _client;
  qrb::String _name;
  std::string _folder;
  /// Of the repository, canonical.
  std::string _address;
  SubversionInfo _info;
  std::optional<SubversionLayout> _detected;
  /// What went wrong while folders were listed.
  SubversionFailure _listingFailure;
};

/// The root of a working copy on this machine; empty for what is none.
std::string subversionFolderOf(const QRBSourceControlWorkingCopyPtr& workingCopy);
