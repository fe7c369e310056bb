#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Dictionary.h"
#include "Error.h"
#include "QRBSourceControlWorkspaceBlueprint.h"

// The two forms of a blueprint's file, between a blueprint and a dictionary of plain values.
namespace qrb::detail {

enum class BlueprintForm { none, current, legacy };

/// By the version numbers; none for what is no dictionary too.
BlueprintForm formOfBlueprint(const Dictionary& dictionary);

/// What is wrong with a dictionary of no form.
inline constexpr const char* kNoVersionProblem =
    "There is neither a \"QRBSourceControlWorkspaceBlueprintVersion\" of 202 or above nor an "
    "\"IDESourceControlProjectVersion\" of 110 or above.";

/// What a file says, before a blueprint is made of it.
struct BlueprintContents {
  using Blueprint = QRBSourceControlWorkspaceBlueprint;

  String identifier;
  String name;
  String relativePathToProject;
  bool favorite = false;
  QRBSourceControlRemoteRepositoryPtr primary;
  Blueprint::RemoteRepositories repositories;
  std::shared_ptr<Blueprint::States> states = std::make_shared<Blueprint::States>();
  std::shared_ptr<Blueprint::Paths> paths = std::make_shared<Blueprint::Paths>();
  std::shared_ptr<Blueprint::RepositoryLocations> repositoryLocations =
      std::make_shared<Blueprint::RepositoryLocations>();
  std::shared_ptr<Blueprint::Locations> locations = std::make_shared<Blueprint::Locations>();
  std::vector<String> leftOut;
};

BlueprintContents readCurrentForm(const Dictionary& dictionary, const URL& sshKeyDirectory);
BlueprintContents readLegacyForm(const Dictionary& dictionary);
Dictionary writeCurrentForm(const QRBSourceControlWorkspaceBlueprint& blueprint, std::uint64_t options);
Dictionary writeLegacyForm(const QRBSourceControlWorkspaceBlueprint& blueprint, std::uint64_t options);

/// The authentication strategy of an entry, never null.
QRBSourceControlAuthenticationStrategyPtr readStrategy(const Dictionary& entry, const URL& repositoryURL,
                                                       const URL& sshKeyDirectory);
Dictionary writeStrategy(const QRBSourceControlAuthenticationStrategyPtr& strategy, std::uint64_t options);

/// Whether the options leave the repository out.
bool isLeftOut(const QRBSourceControlWorkspaceBlueprint& blueprint,
               const QRBSourceControlRemoteRepositoryPtr& repository, std::uint64_t options);
/// The URL to write; absent where the repository has none.
String writtenURL(const QRBSourceControlRemoteRepository& repository, std::uint64_t options);

/// Systems by identifier, each looked up once: the look-up of one that is not known asks all plug-ins again.
class SystemLookup {
 public:
  /// Null for an absent identifier and where no plug-in that can be used serves the system.
  QRBSourceControlSystemPtr systemWithIdentifier(const String& identifier);

 private:
  StringMap<QRBSourceControlSystemPtr> _known;
};

String textForKey(const Dictionary& dictionary, std::string_view key);
/// Whether it is true, or a number other than 0.
bool isTrue(const Dictionary* value);
/// Puts a text in where there is one.
void setText(Dictionary& dictionary, const char* key, const String& text);
/// An address that a repository can have: a text without control characters.
URL usableURL(const String& text);

/// What every failure here is: invalid contents, with a text that quotes nothing secret.
Error blueprintError(const std::string& text, Error cause = {});

}  // namespace qrb::detail
