#include <filesystem>

#include "FilePaths.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlWorkingCopy.h"
#include "SubversionPlugIn.h"

namespace {

namespace fs = std::filesystem;

bool isThere(const std::string& path) {
  std::error_code error;
  return fs::exists(fs::symlink_status(path, error));
}

SubversionFailure refused(SubversionFailureKind kind, const std::string& path, const std::string& why) {
  SubversionFailure failure(kind, qrb::pathMessage(path, why));
  failure.subject = path;
  return failure;
}

/// Nothing that no revision has may be lost, and nothing is removed before that is known of all.
SubversionFailure checkRemoval(SubversionClient& client, const std::vector<std::string>& paths) {
  for (const std::string& path : paths) {
    SubversionInfo info;
    if (SubversionFailure failure = client.info({path}, info)) return failure;
    SubversionFailure found;
    SubversionFailure failure = client.status(path, false, false, [&](const SubversionStatus& status) {
      bool isKept = status.node == SubversionState::missing || status.node == SubversionState::deleted ||
                    status.node == SubversionState::none || status.node == SubversionState::normal;
      if (!isKept && !found) {
        found =
            refused(SubversionFailureKind::localChanges, std::string(status.path), "has changes that no revision has");
      }
    });
    if (failure) return failure;
    if (found) return found;
  }
  return {};
}

/// Absolute paths that were moved away or here, so that both halves are undone.
SubversionFailure addOtherHalves(SubversionClient& client, std::vector<std::string>& paths) {
  std::vector<std::string> others;
  for (const std::string& path : paths) {
    SubversionFailure failure = client.status(path, false, false, [&](const SubversionStatus& status) {
      if (!status.movedFrom.empty()) others.emplace_back(status.movedFrom);
      if (!status.movedTo.empty()) others.emplace_back(status.movedTo);
    });
    if (failure) return failure;
  }
  paths.insert(paths.end(), others.begin(), others.end());
  return {};
}

/// Undoes what was done before a later pair failed. What cannot be undone stays as it is, and shows in the status.
void takeBack(SubversionClient& client, const std::vector<std::pair<std::string, std::string>>& done, bool moves) {
  for (auto pair = done.rbegin(); pair != done.rend(); ++pair) {
    std::error_code ignored;
    if (client.revert({pair->second}, true)) continue;
    fs::remove_all(pair->second, ignored);
    if (moves) static_cast<void>(client.revert({pair->first}, true));
  }
}

qrb::Error differentNumbers() {
  return QRBSourceControlError_LocationNotFound(QRBSourceControlErrorCode::pathNotFound, {},
                                                "There are not as many destinations as files.");
}

}  // namespace

void SubversionPlugIn::addFiles(const Files& files, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                                Completion<> completionBlock) {
  completionBlock(changeFiles(files, inWorkingCopy, [](SubversionSession& session, const auto& paths) {
    for (const std::string& path : paths) {
      if (!isThere(path)) {
        return session.errorFor(refused(SubversionFailureKind::pathNotFound, path, "is not there"));
      }
    }
    for (const std::string& path : paths) {
      if (SubversionFailure failure = session.client().add(path, true)) return session.errorFor(failure);
    }
    return qrb::Error();
  }));
}

void SubversionPlugIn::removeFiles(const Files& files, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                                   Completion<> completionBlock) {
  completionBlock(changeFiles(files, inWorkingCopy, [](SubversionSession& session, const auto& paths) {
    SubversionFailure failure = checkRemoval(session.client(), paths);
    if (!failure) failure = session.client().remove(paths, false);
    return session.errorFor(failure);
  }));
}

qrb::Error SubversionPlugIn::transfer(const Files& files, const Files& toFilePaths,
                                      const QRBSourceControlWorkingCopyPtr& workingCopy, bool moves) const {
  if (files.size() != toFilePaths.size()) return differentNumbers();
  std::vector<std::string> targets;
  if (qrb::Error error = resolve(subversionFolderOf(workingCopy), toFilePaths, targets)) return error;
  return changeFiles(files, workingCopy, [&](SubversionSession& session, const std::vector<std::string>& sources) {
    SubversionClient& client = session.client();
    for (std::size_t number = 0; number < sources.size(); ++number) {
      SubversionInfo info;
      SubversionFailure failure = client.info({sources[number]}, info);
      if (!failure && isThere(targets[number])) {
        failure = refused(SubversionFailureKind::exists, targets[number], "is there already");
      }
      if (failure) return session.errorFor(failure);
    }
    std::vector<std::pair<std::string, std::string>> done;
    for (std::size_t number = 0; number < sources.size(); ++number) {
      SubversionFailure failure =
          moves ? client.move(sources[number], targets[number]) : client.copy(sources[number], targets[number]);
      if (failure) {
        takeBack(client, done, moves);
        return session.errorFor(failure);
      }
      done.emplace_back(sources[number], targets[number]);
    }
    return qrb::Error();
  });
}

void SubversionPlugIn::copyFiles(const Files& files, const Files& toFilePaths,
                                 const QRBSourceControlWorkingCopyPtr& inWorkingCopy, Completion<> completionBlock) {
  completionBlock(transfer(files, toFilePaths, inWorkingCopy, false));
}

void SubversionPlugIn::moveFiles(const Files& files, const Files& toFilePaths,
                                 const QRBSourceControlWorkingCopyPtr& inWorkingCopy, Completion<> completionBlock) {
  completionBlock(transfer(files, toFilePaths, inWorkingCopy, true));
}

void SubversionPlugIn::createDirectory(const qrb::String& path, bool withIntermediateDirectories,
                                       const qrb::Dictionary& attributes,
                                       const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                                       Completion<> completionBlock) {
  const qrb::Dictionary& permissions = attributes["posixPermissions"];
  completionBlock(changeFiles({path}, inWorkingCopy, [&](SubversionSession& session, const auto& paths) {
    SubversionInfo known;
    std::error_code error;
    bool isKnownFolder =
        fs::is_directory(fs::symlink_status(paths.front(), error)) && !session.client().info({paths.front()}, known);
    SubversionFailure failure;
    if (!withIntermediateDirectories || !isKnownFolder) {
      failure = session.client().makeFolders(paths.front(), withIntermediateDirectories);
    }
    if (!failure && permissions.isInteger()) {
      fs::permissions(paths.front(), static_cast<fs::perms>(permissions.unsignedInteger() & 07777), error);
    }
    return session.errorFor(failure);
  }));
}

void SubversionPlugIn::discardChangesInFiles(const Files& files, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                                             Completion<> completionBlock) {
  completionBlock(changeFiles(files, inWorkingCopy, [](SubversionSession& session, std::vector<std::string> paths) {
    for (const std::string& path : paths) {
      SubversionInfo info;
      if (SubversionFailure failure = session.client().info({path}, info)) return session.errorFor(failure);
    }
    SubversionFailure failure = addOtherHalves(session.client(), paths);
    if (!failure) failure = session.client().revert(paths, true);
    return session.errorFor(failure);
  }));
}

void SubversionPlugIn::discardAllChangesInWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy,
                                                      Completion<> completionBlock) {
  completionBlock(change(workingCopy, [](SubversionSession& session) {
    return session.errorFor(session.client().revert({session.folder()}, true));
  }));
}

void SubversionPlugIn::markAsResolvedFiles(const Files& files, const QRBSourceControlWorkingCopyPtr& inWorkingCopy,
                                           Completion<> completionBlock) {
  completionBlock(changeFiles(files, inWorkingCopy, [](SubversionSession& session, const auto& paths) {
    for (const std::string& path : paths) {
      SubversionInfo info;
      if (SubversionFailure failure = session.client().info({path}, info)) return session.errorFor(failure);
    }
    for (const std::string& path : paths) {
      if (SubversionFailure failure = session.client().resolve(path)) return session.errorFor(failure);
    }
    return qrb::Error();
  }));
}
