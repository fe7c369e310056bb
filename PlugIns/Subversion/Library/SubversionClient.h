#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "RemoteAccess.h"
#include "SubversionFailure.h"
#include "SubversionValues.h"

/// What a failed login was about, for whoever asks the user.
struct SubversionServerAsked {
  /// A secret of the request was handed over.
  bool gaveSecret = false;
  /// The fingerprint of the certificate or of the key that was not trusted; empty where all was, and where trusting it
  /// would not help.
  std::string fingerprint;
  /// Of a certificate, its longer fingerprint beside that.
  std::string longFingerprint;
  /// What is wrong with the certificate, for people.
  std::string certificateFault;
  /// Another server than that of the address wanted a login; empty where none did.
  std::string foreignServer;
};

/// The library, for one request. Every call does its work on the calling thread and says how it ended; callbacks come
/// on that thread, and what they are told is valid during the call only. Working copies are never asked about
/// conflicts: these are left in them. Programs that the user's configuration names are not run, of externals only
/// those are looked after that somebody asks for, and nothing is stored but what the call is for.
class SubversionClient {
 public:
  /// The hanging up of `hostConnection` ends what is under way. -1 is none.
  explicit SubversionClient(int hostConnection);
  ~SubversionClient();
  SubversionClient(const SubversionClient&) = delete;
  SubversionClient& operator=(const SubversionClient&) = delete;

  /// What a request brought to log in with; to be called before the first call that reaches a server. Without it
  /// nothing is known but what the user has stored.
  void setAccess(qrb::RemoteAccess access);
  const qrb::RemoteAccess& access() const;
  /// What servers asked and showed so far.
  const SubversionServerAsked& asked() const;
  /// Gets every path that is worked on.
  void setNotices(std::function<void(const SubversionNotice&)> notices);

  // Looking. A receiver that returns false ends the call, which has succeeded then.

  SubversionFailure info(const SubversionTarget& target, SubversionInfo& info);
  /// Everything that has something to tell, in the order of the paths within a folder.
  SubversionFailure status(const std::string& place, bool withRemote, bool withIgnored,
                           const std::function<void(const SubversionStatus&)>& receiver);
  SubversionFailure conflict(const std::string& path, SubversionConflict& conflict);
  SubversionFailure list(const SubversionTarget& target, std::vector<SubversionEntry>& entries);
  /// The properties "svn:externals" of a working copy.
  SubversionFailure externals(const std::string& root, std::vector<SubversionExternal>& externals);

  struct LogRequest {
    SubversionTarget target;
    /// From the first that is told to the last, in either order.
    SubversionRevision from;
    SubversionRevision to;
    int maximum = 0;
    bool withMessages = true;
    bool withChanges = true;
    bool stopsAtCopies = false;
  };
  SubversionFailure log(const LogRequest& request, const std::function<bool(const SubversionLogEntry&)>& receiver);
  SubversionFailure blame(const SubversionTarget& target,
                          const std::function<void(const SubversionBlameLine&)>& receiver);
  /// What an address was called in the past, newest first.
  SubversionFailure segments(const std::string& url, std::vector<SubversionSegment>& segments);
  /// A file as it would be in a working copy, keywords and line ends included. Nothing is overwritten.
  SubversionFailure exportFile(const SubversionTarget& target, const std::string& path);
  /// A comparison in the form that git made usual, as bytes.
  SubversionFailure diff(const SubversionTarget& from, const SubversionTarget& against,
                         const std::function<void(std::string_view bytes)>& receiver);
  SubversionFailure differences(const SubversionTarget& from, const SubversionTarget& against,
                                std::vector<SubversionDifference>& differences);

  // Changing a working copy.

  /// With folders above that are not versioned yet.
  SubversionFailure add(const std::string& path, bool recursive);
  /// From disk too, unless it is kept there.
  SubversionFailure remove(const std::vector<std::string>& paths, bool keepsOnDisk);
  SubversionFailure copy(const std::string& from, const std::string& to);
  SubversionFailure move(const std::string& from, const std::string& to);
  SubversionFailure makeFolders(const std::string& path, bool withParents);
  /// What was added stays on disk.
  SubversionFailure revert(const std::vector<std::string>& paths, bool recursive);
  SubversionFailure resolve(const std::string& path);
  struct Commit {
    std::vector<std::string> paths;
    bool recursive = true;
    std::string message;
  };
  SubversionFailure commit(const Commit& commit, SubversionCommitted& committed);
  SubversionFailure update(const std::string& path, SubversionRevision revision, long& result);
  SubversionFailure switchTo(const std::string& path, const std::string& url, SubversionRevision revision,
                             long& result);
  /// What the source has and the working copy lacks, by what is recorded of earlier merges.
  SubversionFailure merge(const SubversionTarget& source, const std::string& path);
  SubversionFailure upgrade(const std::string& root);
  /// Takes back what an interrupted call has left. Nobody else may work there.
  SubversionFailure cleanUp(const std::string& root);
  SubversionFailure checkout(const SubversionTarget& source, const std::string& path, long& result);

  // Changing a repository.

  SubversionFailure copyOnServer(const SubversionTarget& from, const std::string& toURL, const std::string& message,
                                 SubversionCommitted& committed);
  SubversionFailure removeOnServer(const std::string& url, const std::string& message, SubversionCommitted& committed);
  static SubversionFailure createRepository(const std::string& path);

  struct Private;

 private:
  std::unique_ptr<Private> _private;
};
