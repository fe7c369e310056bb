#include <algorithm>
#include <cerrno>
#include <system_error>

#include "BlueprintFormsPrivate.h"
#include "FileSystem.h"
#include "JSONDocument.h"
#include "PathString.h"
#include "PropertyList.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlRemoteRepository.h"
#include "UnicodeText.h"

using Blueprint = QRBSourceControlWorkspaceBlueprint;
using BlueprintPtr = QRBSourceControlWorkspaceBlueprintPtr;
using qrb::detail::blueprintError;
using qrb::detail::BlueprintForm;

namespace {

void tell(qrb::Error* slot, const std::string& text, qrb::Error cause = {}) {
  if (slot != nullptr) *slot = blueprintError(text, std::move(cause));
}

qrb::Error systemError(int number) {
  return qrb::Error(qrb::kGeneralErrorDomain, number,
                    {{qrb::kErrorLocalizedDescriptionKey, qrb::String(std::generic_category().message(number))}});
}

void tellOfFile(qrb::Error* slot, const std::string& path, const char* whatFailed, int number) {
  tell(slot,
       "The file \"" + path + "\" could not be " + whatFailed + ": " + std::generic_category().message(number) + ".",
       systemError(number));
}

std::optional<qrb::Dictionary> onlyDictionary(std::optional<qrb::Dictionary> value, const std::string& problem,
                                              qrb::Error* error) {
  if (value && value->isObject()) return value;
  tell(error, value ? "A blueprint is a dictionary, and this is none." : problem);
  return std::nullopt;
}

bool isLegacyFile(const std::string& path) {
  std::string_view name = qrb::lastPathComponent(path);
  std::string_view stem = qrb::deletingPathExtension(name);
  std::string extension = qrb::lowercased(name.substr(stem.size()));
  return extension.find(QRBSourceControlLegacyWorkspaceBlueprintExtension) != std::string::npos;
}

// Whether the URLs themselves give a password away.
bool writesPasswordsInURLs(const Blueprint& blueprint, std::uint64_t options) {
  const auto& repositories = blueprint.remoteRepositories();
  return (options & QRBSourceControlWorkspaceBlueprintAnonymousURLs) == 0 &&
         std::any_of(repositories.begin(), repositories.end(),
                     [](const QRBSourceControlRemoteRepositoryPtr& repository) {
                       return !(repository->URL().withoutPassword() == repository->URL());
                     });
}

}  // namespace

// Reading

std::optional<qrb::Dictionary> Blueprint::dictionaryFromJSONData(std::string_view data, qrb::Error* error) {
  std::string problem;
  auto value = qrb::valueFromJSON(data, problem);
  return onlyDictionary(std::move(value), problem, error);
}

std::optional<qrb::Dictionary> Blueprint::dictionaryFromPropertyListData(std::string_view data, qrb::Error* error) {
  std::string problem;
  auto value = qrb::valueFromPropertyList(data, problem);
  return onlyDictionary(std::move(value), problem, error);
}

std::optional<qrb::Dictionary> Blueprint::dictionaryFromBlueprintFile(const qrb::URL& file, qrb::Error* error) {
  if (!file.isFileURL() || file.path().empty()) {
    tell(error, "A blueprint is read from a file URL.");
    return std::nullopt;
  }
  std::string path = file.path().str();
  auto bytes = qrb::readFile(path, qrb::DocumentLimits().bytes);
  if (!bytes) {
    tellOfFile(error, path, "read", errno);
    return std::nullopt;
  }
  qrb::Error problem;
  auto dictionary =
      isLegacyFile(path) ? dictionaryFromPropertyListData(*bytes, &problem) : dictionaryFromJSONData(*bytes, &problem);
  if (!dictionary) tell(error, "The file \"" + path + "\" is no blueprint. " + problem.localizedDescription(), problem);
  return dictionary;
}

BlueprintPtr Blueprint::initWithDictionary(const qrb::Dictionary& dictionary, const qrb::URL& sshKeyDirectory,
                                           qrb::Error* error) {
  BlueprintForm form = qrb::detail::formOfBlueprint(dictionary);
  if (form == BlueprintForm::none) {
    tell(error, qrb::detail::kNoVersionProblem);
    return nullptr;
  }
  auto contents = form == BlueprintForm::current ? qrb::detail::readCurrentForm(dictionary, sshKeyDirectory)
                                                 : qrb::detail::readLegacyForm(dictionary);
  BlueprintPtr blueprint = initWithPrimaryRemoteRepository(
      std::move(contents.primary), std::move(contents.relativePathToProject), std::move(contents.repositories),
      std::move(contents.states), std::move(contents.paths), std::move(contents.repositoryLocations),
      std::move(contents.locations), std::move(contents.name), contents.favorite);
  blueprint->set_id(contents.identifier);
  blueprint->_leftOut = std::move(contents.leftOut);
  return blueprint;
}

BlueprintPtr Blueprint::initWithJSONData(std::string_view data, const qrb::URL& sshKeyDirectory, qrb::Error* error) {
  auto dictionary = dictionaryFromJSONData(data, error);
  return dictionary ? initWithDictionary(*dictionary, sshKeyDirectory, error) : nullptr;
}

BlueprintPtr Blueprint::initWithBlueprintFile(const qrb::URL& file, const qrb::URL& sshKeyDirectory,
                                              qrb::Error* error) {
  auto dictionary = dictionaryFromBlueprintFile(file, error);
  return dictionary ? initWithDictionary(*dictionary, sshKeyDirectory, error) : nullptr;
}

// Writing

qrb::Dictionary Blueprint::dictionaryRepresentationWithOptions(std::uint64_t options) const {
  return (options & QRBSourceControlWorkspaceBlueprintLegacyForm) != 0 ? qrb::detail::writeLegacyForm(*this, options)
                                                                       : qrb::detail::writeCurrentForm(*this, options);
}

std::optional<std::string> Blueprint::jsonDataRepresentationWithOptions(std::uint64_t options,
                                                                        qrb::Error* error) const {
  std::string problem;
  auto text = qrb::jsonFromValue(dictionaryRepresentationWithOptions(options), problem);
  if (!text) tell(error, problem);
  return text;
}

std::optional<std::string> Blueprint::propertyListDataRepresentationWithOptions(std::uint64_t options,
                                                                                qrb::Error* error) const {
  std::string problem;
  options |= QRBSourceControlWorkspaceBlueprintLegacyForm;
  auto text = qrb::propertyListFromValue(dictionaryRepresentationWithOptions(options), problem);
  if (!text) tell(error, problem);
  return text;
}

qrb::URL Blueprint::saveBlueprintInFolder(const qrb::URL& folder, std::uint64_t options, qrb::Error* error) const {
  bool isLegacy = (options & QRBSourceControlWorkspaceBlueprintLegacyForm) != 0;
  std::string file = _name.str();
  if (file.empty() || file.find('\0') != std::string::npos || !folder.isFileURL() || folder.path().empty()) {
    tell(error, file.empty()
                    ? "A blueprint without a name cannot be saved: files are named after it."
                    : "A blueprint is saved in a folder, given as a file URL, under a name that files can have.");
    return {};
  }
  auto bytes = isLegacy ? propertyListDataRepresentationWithOptions(options, error)
                        : jsonDataRepresentationWithOptions(options, error);
  if (!bytes) return {};
  // The name is whatever a file said, and must not lead out of the folder.
  std::replace(file.begin(), file.end(), '/', '-');
  file += std::string(".") +
          (isLegacy ? QRBSourceControlLegacyWorkspaceBlueprintExtension : QRBSourceControlWorkspaceBlueprintExtension);
  std::string path = qrb::appendingPathComponent(folder.path().view(), file);
  bool isSecret = (!isLegacy && (options & QRBSourceControlWorkspaceBlueprintCredentials) != 0) ||
                  writesPasswordsInURLs(*this, options);
  if (!qrb::overwriteFile(path, *bytes, isSecret ? qrb::FileAccess::userOnly : qrb::FileAccess::asUsual)) {
    tellOfFile(error, path, "written", errno);
    return {};
  }
  return qrb::URL::fileURL(path);
}
