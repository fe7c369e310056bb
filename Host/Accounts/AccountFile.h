#pragma once

#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "Result.h"

namespace host {

/// The user's list of accounts: a JSON object with an array of records under QRBSourceControlAccountsDefaultsKey. The
/// file has mode 0600, and what it holds beside the list stays as it is. Several processes may use it at a time.
class AccountFile {
 public:
  using Record = nlohmann::json;
  using Records = std::vector<Record>;

  explicit AccountFile(std::string path);
  /// $XDG_CONFIG_HOME/qrbscm/accounts.json, and ~/.config where that is not set to an absolute path.
  static std::string defaultPath();

  const std::string& path() const { return _path; }
  /// The records; none where there is no file yet. Each is an object, with whatever keys. A file that is not what it
  /// should be is an error, with the place.
  qrb::Result<Records> read() const;
  /// Changes the list: reads it, calls `change`, and writes what that leaves, unless it is the same. Other processes
  /// that change it wait. With an error, the file is as it was.
  qrb::Error update(const std::function<void(Records& records)>& change) const;

 private:
  qrb::Result<nlohmann::json> readDocument(const std::string& path) const;

  std::string _path;
};

}  // namespace host
