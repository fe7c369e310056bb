#include "AccountFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <utility>

#include "FileDescriptor.h"
#include "FileReplacement.h"
#include "FileSystem.h"
#include "HostError.h"
#include "QRBSourceControlAccount.h"

namespace host {

namespace {

namespace fs = std::filesystem;
using nlohmann::json;

qrb::Error failureOf(const std::string& path, int reason) {
  return hostError("The list of accounts \"" + path + "\" could not be used: " + std::strerror(reason) + ".", {},
                   reason);
}

qrb::Error malformed(const std::string& path, const std::string& why) {
  return hostError("The list of accounts \"" + path + "\" cannot be understood: " + why + ".",
                   "Correct the file, or move it away to begin a new list. It is left as it is.");
}

// The file that is meant where a link stands in its place, so that the link survives.
std::string target(const std::string& path) {
  std::error_code failure;
  fs::path real = fs::canonical(path, failure);
  return failure ? path : real.native();
}

// What is wrong with a document, or nothing.
std::string problemOf(const json& document) {
  if (!document.is_object()) return "it holds no object";
  auto list = document.find(QRBSourceControlAccountsDefaultsKey);
  if (list == document.end()) return {};
  if (!list->is_array()) return std::string("\"") + QRBSourceControlAccountsDefaultsKey + "\" is no array";
  for (std::size_t index = 0; index < list->size(); ++index) {
    if (!(*list)[index].is_object()) return "account " + std::to_string(index + 1) + " is no object";
  }
  return {};
}

// The lock of this file's writers; it ends with the descriptor. A file of its own, since the list's is replaced.
qrb::FileDescriptor lockedFor(const std::string& path) {
  qrb::FileDescriptor lock(
      ::open((path + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR));
  while (lock.valid() && ::flock(lock.get(), LOCK_EX) != 0) {
    if (errno != EINTR) return {};
  }
  return lock;
}

}  // namespace

AccountFile::AccountFile(std::string path) : _path(std::move(path)) {}

std::string AccountFile::defaultPath() {
  const char* chosen = std::getenv("XDG_CONFIG_HOME");
  std::string folder = chosen != nullptr && chosen[0] == '/' ? chosen : qrb::homeDirectory() + "/.config";
  return folder + "/qrbscm/accounts.json";
}

qrb::Result<json> AccountFile::readDocument(const std::string& path) const {
  auto bytes = qrb::readFile(path, qrb::anySize);
  if (!bytes && errno == ENOENT) return json::object();
  if (!bytes) return failureOf(path, errno);
  json document;
  try {
    document = json::parse(*bytes);
  } catch (const json::exception& error) {
    // The message names the place, behind an identifier of its own.
    std::string why = error.what();
    return malformed(path, why.substr(std::min(why.find("] ") + 2, why.size())));
  }
  std::string problem = problemOf(document);
  if (!problem.empty()) return malformed(path, problem);
  return document;
}

qrb::Result<AccountFile::Records> AccountFile::read() const {
  auto document = readDocument(_path);
  if (!document) return document.error();
  auto list = document->find(QRBSourceControlAccountsDefaultsKey);
  return list == document->end() ? Records() : Records(list->begin(), list->end());
}

qrb::Error AccountFile::update(const std::function<void(Records& records)>& change) const {
  std::string folder = fs::path(_path).parent_path();
  if (!qrb::makePrivateDirectory(folder) && errno != EEXIST) return failureOf(folder, errno);
  std::string path = target(_path);
  qrb::FileDescriptor lock = lockedFor(path);
  if (!lock.valid()) return failureOf(path + ".lock", errno);
  auto document = readDocument(path);
  if (!document) return document.error();
  json& list = document->emplace(QRBSourceControlAccountsDefaultsKey, json::array()).first.value();
  Records records(list.begin(), list.end());
  change(records);
  json changed = records;
  if (list == changed) return {};
  list = std::move(changed);
  FileReplacement replacement(path);
  // Bytes that are no text have no place in JSON.
  if (qrb::Error error = replacement.write(document->dump(2, ' ', false, json::error_handler_t::replace) + "\n")) {
    return error;
  }
  return replacement.commit();
}

}  // namespace host
