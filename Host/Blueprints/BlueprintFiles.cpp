#include "BlueprintFiles.h"

#include <fcntl.h>
#include <stdio.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "AccountRecord.h"
#include "HostError.h"
#include "PrivateFolder.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlSSHKeysAuthenticationStrategy.h"
#include "QRBSourceControlWorkspaceBlueprint.h"
#include "RemoteFinder.h"
#include "Systems.h"
#include "Text.h"
#include "UnicodeText.h"

namespace host {

namespace {

namespace fs = std::filesystem;
using Blueprint = QRBSourceControlWorkspaceBlueprint;
using SSHKeys = QRBSourceControlSSHKeysAuthenticationStrategy;

qrb::URL fileURLOf(const std::string& file, bool isFolder = false) {
  return qrb::URL::fileURL(fs::absolute(file).lexically_normal().native(), isFolder);
}

// Before the library cleans up what it reads.
std::size_t privateKeysIn(const qrb::Dictionary& file) {
  constexpr const char* kSection = QRBSourceControlWorkspaceBlueprintRemoteRepositoryAuthenticationStrategiesKey;
  constexpr const char* kKeys[] = {QRBSourceControlWorkspaceBlueprintRemoteRepositoryPrivateKeyDataKey, kSection};
  auto hasKey = [&](const auto& entry) {
    return std::any_of(std::begin(kKeys), std::end(kKeys),
                       [&](const char* key) { return !std::as_const(entry.second)[key].string().empty(); });
  };
  const auto& section = file[kSection].entries();
  return static_cast<std::size_t>(std::count_if(section.begin(), section.end(), hasKey));
}

bool hasCredentials(const QRBSourceControlAuthenticationStrategyPtr& strategy) {
  auto keys = std::dynamic_pointer_cast<const SSHKeys>(strategy);
  return !secretOf(strategy).empty() || (keys != nullptr && keys->privateKeyFile());
}

std::size_t keyFilesOf(const Blueprint& blueprint) {
  const auto& remotes = blueprint.remoteRepositories();
  return static_cast<std::size_t>(std::count_if(remotes.begin(), remotes.end(), [](const auto& remote) {
    auto keys = std::dynamic_pointer_cast<const SSHKeys>(remote->authenticationStrategy());
    return keys != nullptr && keys->privateKeyFile();
  }));
}

bool isLegacyName(const std::string& file) {
  std::string extension = qrb::lowercased(fs::path(file).extension().native());
  return extension.find(QRBSourceControlLegacyWorkspaceBlueprintExtension) != std::string::npos;
}

std::uint64_t optionsFor(const BlueprintWriting& writing) {
  std::uint64_t options =
      QRBSourceControlWorkspaceBlueprintAuthentication | QRBSourceControlWorkspaceBlueprintLocations |
      QRBSourceControlWorkspaceBlueprintBranchAndTagLocations | QRBSourceControlWorkspaceBlueprintWorkingCopyStates |
      QRBSourceControlWorkspaceBlueprintFavoriteStatus;
  if (!writing.noRevisions) options |= QRBSourceControlWorkspaceBlueprintRevisions;
  if (writing.credentials) options |= QRBSourceControlWorkspaceBlueprintCredentials;
  if (isLegacyName(writing.file)) options |= QRBSourceControlWorkspaceBlueprintLegacyForm;
  return options;
}

void removePasswordsFromURLs(Session& session, Blueprint& blueprint) {
  for (const auto& remote : blueprint.remoteRepositories()) {
    qrb::URL url = remote->URL().withoutPassword();
    if (url == remote->URL()) continue;
    remote->setURL(url);
    session.note(addressOf(remote) + ": the password in the address was left out.");
  }
}

qrb::Error notWritten(const std::string& file, int reason) {
  return hostError("The file \"" + file + "\" could not be written: " + std::strerror(reason) + ".",
                   reason == EEXIST ? "--force replaces it." : "", reason);
}

// By way of a folder beside it: the library decides who may read the file, and nobody sees half of one.
qrb::Error writeFile(const Blueprint& blueprint, const BlueprintWriting& writing) {
  fs::path file = fs::absolute(writing.file).lexically_normal();
  qrb::PrivateFolder folder(file.parent_path(), ".qrbscm-");
  if (folder.path().empty()) return notWritten(writing.file, errno);
  qrb::Error error;
  qrb::URL written = blueprint.saveBlueprintInFolder(fileURLOf(folder.path(), true), optionsFor(writing), &error);
  if (!written) return error;
  unsigned flags = writing.force ? 0 : RENAME_NOREPLACE;
  if (::renameat2(AT_FDCWD, written.path().str().c_str(), AT_FDCWD, file.c_str(), flags) == 0) return {};
  return notWritten(writing.file, errno);
}

qrb::Error writeToOutput(Session& session, const Blueprint& blueprint, const BlueprintWriting& writing) {
  qrb::Error error;
  auto text = blueprint.jsonDataRepresentationWithOptions(optionsFor(writing), &error);
  if (!text) return error;
  session.output().write(*text);
  if (!text->ends_with('\n')) session.output().write("\n");
  return {};
}

qrb::Error checkKeyDirectory(const std::string& directory) {
  std::error_code failure;
  if (directory.empty() || fs::is_directory(directory, failure)) return {};
  return hostError("\"" + directory + "\" is no folder.", "Keys are written below one that is there.", ENOTDIR);
}

}  // namespace

bool isWhole(const QRBSourceControlWorkspaceBlueprintPtr& blueprint) {
  return blueprint->leftOutOnReading().empty();
}

qrb::Result<ReadBlueprint> readBlueprint(Session& session, const std::string& file, const std::string& keyDirectory,
                                         BlueprintReading reading) {
  if (file.empty()) return hostError("A blueprint's file has a name.", {}, ENOENT);
  qrb::Error error;
  auto dictionary = Blueprint::dictionaryFromBlueprintFile(fileURLOf(file), &error);
  if (!dictionary || !Blueprint::validateDictionary(*dictionary, &error)) return error;
  // Looked for here, where the user can interrupt it; the library then knows them.
  if (ListedSystems systems = listSystems(session); !systems) return systems.error();
  qrb::URL keys = keyDirectory.empty() ? qrb::URL() : fileURLOf(keyDirectory, true);
  auto blueprint = Blueprint::initWithDictionary(*dictionary, keys, &error);
  if (blueprint == nullptr) return error;
  if (reading == BlueprintReading::telling) {
    for (const qrb::String& leftOut : blueprint->leftOutOnReading()) {
      session.note(displayPath(file) + ": left out " + displayText(leftOut.view()));
    }
  }
  return ReadBlueprint{blueprint, privateKeysIn(*dictionary)};
}

qrb::Result<ReadBlueprint> readBlueprintForServers(Session& session, const std::string& file,
                                                   const std::string& keyDirectory) {
  if (qrb::Error error = checkKeyDirectory(keyDirectory)) return error;
  auto read = readBlueprint(session, file, keyDirectory);
  if (!read) return read;
  if (keyDirectory.empty() && read->privateKeys > 0) {
    session.note(displayPath(file) +
                 " has private keys, which are used only where --key-directory says where to "
                 "write them.");
  } else if (!keyDirectory.empty() && keyFilesOf(*read->blueprint) < read->privateKeys) {
    return hostError("Not all private keys of \"" + file + "\" could be written below \"" + keyDirectory + "\".",
                     "Each needs a public key beside it, an ssh address, and room in the folder.", EIO);
  }
  for (const auto& remote : read->blueprint->remoteRepositories()) {
    if (!hasCredentials(remote->authenticationStrategy())) useKeptAccount(remote);
  }
  return read;
}

void addKeyDirectoryOption(CommandDeclaration& command, std::string& directory) {
  command.option("--key-directory", directory, "Write the blueprint's private keys below that folder, and use them")
      .folder("DIR");
}

void addWritingOptions(CommandDeclaration& command, BlueprintWriting& writing) {
  command.flag("-f,--force", writing.force, "Replace a file that is there");
  command.flag("--credentials", writing.credentials,
               "Write also the user names, passwords and private keys that are known; the file is a secret then");
  command.flag("--no-revisions", writing.noRevisions, "Record branches and tags, but not at which revision they are");
}

void addRewritingOptions(CommandDeclaration& command, BlueprintWriting& writing) {
  addWritingOptions(command, writing);
  command.flag("--drop-unusable", writing.dropsUnusable,
               "Leave out repositories that cannot be used here, such as those of a system that no plug-in serves");
}

qrb::Result<ReadBlueprint> readBlueprintToRewrite(Session& session, const std::string& file,
                                                  const BlueprintWriting& writing, const std::string& keyDirectory) {
  auto read = readBlueprint(session, file, writing.credentials ? keyDirectory : "");
  if (!read || writing.dropsUnusable || isWhole(read->blueprint)) return read;
  return hostError("\"" + file + "\" has repositories that cannot be used here; the new file would lack them.",
                   "Do it where a plug-in serves them, or say --drop-unusable.");
}

ExitStatus writeBlueprint(Session& session, const QRBSourceControlWorkspaceBlueprintPtr& blueprint,
                          const BlueprintWriting& writing) {
  // The library names files after their blueprints, and writes none without a name.
  if (blueprint->name().empty()) blueprint->setName(fs::path(writing.file).stem().native());
  if (!writing.credentials) removePasswordsFromURLs(session, *blueprint);
  bool toOutput = writing.file == "-";
  qrb::Error error = toOutput ? writeToOutput(session, *blueprint, writing) : writeFile(*blueprint, writing);
  if (error) return session.fail(error);
  if (toOutput) return ExitStatus::success;
  if (session.json()) {
    JSONArray array(session.output());
    JSONValue entry;
    setPath(entry, "path", fs::absolute(writing.file).lexically_normal().native());
    array.add(entry);
    array.finish();
  } else {
    session.output().write(displayPath(writing.file) + "\n");
  }
  return ExitStatus::success;
}

std::string placeOf(const QRBSourceControlWorkspaceBlueprintPtr& blueprint,
                    const QRBSourceControlRemoteRepositoryPtr& remote) {
  qrb::String path = blueprint->workingCopyPathForRemoteRepository(remote);
  if (!path) path = blueprint->displayNameForRemoteRepository(remote);
  return path.empty() ? "." : path.str();
}

}  // namespace host
