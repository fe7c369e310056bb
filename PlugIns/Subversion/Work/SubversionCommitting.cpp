#include "SubversionCommitting.h"

#include <set>

namespace {

std::string folderOf(const std::string& path) {
  return path.substr(0, path.rfind('/'));
}

class Committing {
 public:
  Committing(SubversionClient& client, std::string root) : _client(client), _root(std::move(root)) {}

  SubversionFailure prepare(const std::vector<std::string>& paths) {
    for (const std::string& path : paths) {
      if (SubversionFailure failure = addFoldersAbove(path)) return failure;
      if (SubversionFailure failure = collect(path)) return failure;
    }
    return {};
  }

  SubversionFailure commit(const std::string& message, SubversionCommitted& committed) {
    if (_targets.empty()) return {};
    // By name alone, for a folder that is new is to bring nothing along that was not named. A deleted one goes as a
    // whole all the same.
    return _client.commit({{_targets.begin(), _targets.end()}, false, message}, committed);
  }

  void takeBack() {
    std::vector<std::string> paths(_addedHere.rbegin(), _addedHere.rend());
    paths.insert(paths.end(), _removedHere.begin(), _removedHere.end());
    // What cannot be taken back stays scheduled, and shows in the status.
    if (!paths.empty()) static_cast<void>(_client.revert(paths, false));
  }

 private:
  /// New folders that a new file needs.
  SubversionFailure addFoldersAbove(const std::string& path) {
    std::vector<std::string> added;
    for (std::string folder = folderOf(path); folder.size() > _root.size(); folder = folderOf(folder)) {
      SubversionInfo info;
      SubversionFailure failure = _client.info({folder}, info);
      if (failure && failure.kind != SubversionFailureKind::notVersioned) return failure;
      if (!failure && !info.isAdded) break;
      if (failure) added.push_back(folder);
      _targets.insert(folder);
    }
    for (auto folder = added.rbegin(); folder != added.rend(); ++folder) {
      if (SubversionFailure failure = _client.add(*folder, false)) return failure;
      _addedHere.push_back(*folder);
    }
    return {};
  }

  SubversionFailure collect(const std::string& path) {
    std::vector<std::string> unversioned;
    std::vector<std::string> missing;
    bool hasSome = false;
    SubversionFailure failure = _client.status(path, false, false, [&](const SubversionStatus& status) {
      // What is nowhere is told as well.
      if (status.node == SubversionState::none) return;
      hasSome = true;
      std::string each(status.path);
      switch (status.node) {
        case SubversionState::unversioned:
          unversioned.push_back(each);
          break;
        case SubversionState::missing:
          missing.push_back(each);
          break;
        case SubversionState::ignored:
          if (each == path) unversioned.push_back(each);
          break;
        case SubversionState::external:
          break;
        default:
          take(each, status);
      }
    });
    if (failure) return failure;
    for (const std::string& each : missing) {
      if ((failure = _client.remove({each}, false))) return failure;
      _removedHere.push_back(each);
      _targets.insert(each);
    }
    for (const std::string& each : unversioned) {
      if ((failure = addAll(each))) return failure;
    }
    if (hasSome) return {};
    // Nothing to tell of it: it is as it was, or is not there at all.
    SubversionInfo info;
    return _client.info({path}, info);
  }

  void take(const std::string& path, const SubversionStatus& status) {
    _targets.insert(path);
    if (!status.movedFrom.empty()) _targets.emplace(status.movedFrom);
  }

  SubversionFailure addAll(const std::string& path) {
    if (SubversionFailure failure = _client.add(path, true)) return failure;
    _addedHere.push_back(path);
    return _client.status(path, false, false, [&](const SubversionStatus& status) {
      if (status.node != SubversionState::added) return;
      std::string each(status.path);
      if (each != path) _addedHere.push_back(each);
      take(each, status);
    });
  }

  SubversionClient& _client;
  const std::string _root;
  std::set<std::string> _targets;
  std::vector<std::string> _addedHere;
  std::vector<std::string> _removedHere;
};

}  // namespace

SubversionFailure subversionCommit(SubversionClient& client, const std::string& root,
                                   const std::vector<std::string>& paths, const std::string& message,
                                   SubversionCommitted& committed) {
  if (paths.empty()) return client.commit({{root}, true, message}, committed);
  Committing committing(client, root);
  SubversionFailure failure = committing.prepare(paths);
  if (!failure) failure = committing.commit(message, committed);
  if (failure) committing.takeBack();
  return failure;
}
