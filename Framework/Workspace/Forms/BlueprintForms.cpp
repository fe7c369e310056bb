#include <algorithm>

#include "BlueprintFormsPrivate.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlSystem.h"
#include "QRBSourceControlWorkingCopy.h"

namespace qrb::detail {

namespace {

constexpr std::uint64_t kLeastCurrentVersion = 202;
constexpr std::uint64_t kLeastLegacyVersion = 110;
constexpr std::int64_t kInvalidBlueprint = -400;

bool hasVersion(const Dictionary& dictionary, const char* key, std::uint64_t least) {
  const Dictionary* version = dictionary.find(key);
  return version != nullptr && qrbscm_statusValue(*version) >= least;
}

}  // namespace

BlueprintForm formOfBlueprint(const Dictionary& dictionary) {
  if (hasVersion(dictionary, QRBSourceControlWorkspaceBlueprintVersion, kLeastCurrentVersion)) {
    return BlueprintForm::current;
  }
  return hasVersion(dictionary, QRBSourceControlLegacyWorkspaceBlueprintVersionKey, kLeastLegacyVersion)
             ? BlueprintForm::legacy
             : BlueprintForm::none;
}

bool isLeftOut(const QRBSourceControlWorkspaceBlueprint& blueprint,
               const QRBSourceControlRemoteRepositoryPtr& repository, std::uint64_t options) {
  if (repository->identifier().empty()) return true;
  return (options & QRBSourceControlWorkspaceBlueprintWithoutIgnored) != 0 &&
         blueprint.workingCopyStateForRemoteRepository(repository) == QRBSourceControlWorkspaceBlueprintIgnoredState;
}

String writtenURL(const QRBSourceControlRemoteRepository& repository, std::uint64_t options) {
  bool isAnonymous = (options & QRBSourceControlWorkspaceBlueprintAnonymousURLs) != 0;
  return (isAnonymous ? repository.anonymousURL() : repository.URL()).absoluteString();
}

QRBSourceControlSystemPtr SystemLookup::systemWithIdentifier(const String& identifier) {
  if (identifier.empty()) return nullptr;
  if (const auto* known = _known.find(identifier.view())) return *known;
  auto system = QRBSourceControlSystem::systemWithIdentifier(identifier);
  if (system != nullptr && !system->isUsable()) system = nullptr;
  _known.set(identifier, system);
  return system;
}

String textForKey(const Dictionary& dictionary, std::string_view key) {
  const Dictionary* value = dictionary.find(key);
  return value != nullptr && value->isString() ? String(value->string()) : String();
}

bool isTrue(const Dictionary* value) {
  return value != nullptr && value->boolean();
}

void setText(Dictionary& dictionary, const char* key, const String& text) {
  if (text) dictionary[key] = text.str();
}

URL usableURL(const String& text) {
  auto isControl = [](char character) { return static_cast<unsigned char>(character) < 0x20 || character == 0x7f; };
  std::string_view bytes = text.view();
  bool isUsable = !bytes.empty() && std::none_of(bytes.begin(), bytes.end(), isControl);
  return isUsable ? URL(text) : URL();
}

Error blueprintError(const std::string& text, Error cause) {
  return Error(QRBSourceControlErrorDomain, kInvalidBlueprint, {{kErrorLocalizedDescriptionKey, String(text)}},
               std::move(cause));
}

}  // namespace qrb::detail
