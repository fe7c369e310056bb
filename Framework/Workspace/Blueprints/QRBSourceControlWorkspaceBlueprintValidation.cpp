#include <string>
#include <string_view>
#include <unordered_set>

#include "BlueprintFormsPrivate.h"
#include "QRBSourceControlAuthenticationStrategy.h"
#include "QRBSourceControlBranchAndTagLocations.h"
#include "QRBSourceControlRevisionLocation.h"

// Rules for what a file may say. A rule answers what is wrong, in words that name the key and quote no value but
// identifiers of repositories, or nothing.

using Blueprint = QRBSourceControlWorkspaceBlueprint;

namespace qrb::detail {

namespace {

using Problem = std::optional<std::string>;

std::string inQuotes(std::string_view text) {
  return "\"" + std::string(text.substr(0, 200)) + "\"";
}

Problem mustBe(std::string_view key, const char* what) {
  return "The value of " + inQuotes(key) + " must be " + what + ".";
}

Problem within(std::string_view place, Problem problem) {
  return problem ? Problem("In " + inQuotes(place) + ": " + *problem) : std::nullopt;
}

// Kinds of values

bool isText(const Dictionary& value) {
  return value.isString();
}

bool isNonEmptyText(const Dictionary& value) {
  return value.isString() && !value.string().empty();
}

// A boolean is a number too, as it is in property lists.
bool isNumber(const Dictionary& value) {
  return value.isNumber() || value.isBoolean();
}

bool isWholeNumber(const Dictionary& value) {
  return value.isInteger() && !value.isNegative();
}

bool isTrueNumber(const Dictionary& value) {
  return isTrue(&value);
}

bool isDictionary(const Dictionary& value) {
  return value.isObject();
}

enum class Presence { needed, optional };

struct Rule {
  const char* key;
  bool (*test)(const Dictionary& value);
  const char* what;
  Presence presence = Presence::optional;
};

constexpr const char* kText = "a text";
constexpr const char* kNonEmptyText = "a text that is not empty";
constexpr const char* kTrueNumber = "true; it is left out where it is not";

template <std::size_t count>
Problem problemByRules(const Dictionary& entry, const Rule (&rules)[count]) {
  if (!entry.isObject()) return "The entry must be a dictionary.";
  for (const Rule& rule : rules) {
    const Dictionary* value = entry.find(rule.key);
    if (value == nullptr && rule.presence == Presence::needed) return inQuotes(rule.key) + " is missing.";
    if (value != nullptr && !rule.test(*value)) return mustBe(rule.key, rule.what);
  }
  return std::nullopt;
}

bool namesClassOf(const Dictionary& value, const ClassInfo& base) {
  if (!isNonEmptyText(value)) return false;
  const ClassInfo* named = ClassInfo::named(value.string());
  return named != nullptr && named->isKindOf(base);
}

bool namesStrategy(const Dictionary& value) {
  return namesClassOf(value, QRBSourceControlAuthenticationStrategy::staticClass());
}

bool namesLocation(const Dictionary& value) {
  return namesClassOf(value, QRBSourceControlRevisionLocation::staticClass());
}

// Entries of the current form

Problem _validateRemoteRepositoryDictionary(const Dictionary& entry) {
  static constexpr Rule rules[] = {
      {QRBSourceControlWorkspaceBlueprintRemoteRepositoryIdentifierKey, isNonEmptyText, kNonEmptyText,
       Presence::needed},
      {QRBSourceControlWorkspaceBlueprintRemoteRepositoryURLKey, isNonEmptyText, kNonEmptyText, Presence::needed},
      {QRBSourceControlWorkspaceBlueprintRemoteRepositorySystemKey, isNonEmptyText, kNonEmptyText, Presence::needed},
      {QRBSourceControlWorkspaceBlueprintRemoteRepositoryTrustedCertFingerprintKey, isNonEmptyText, kNonEmptyText},
      {QRBSourceControlWorkspaceBlueprintRemoteRepositoryTrustSelfSignedCertKey, isTrueNumber, kTrueNumber},
      {QRBSourceControlWorkspaceBlueprintRemoteRepositoryEnforceTrustCertFingerprintKey, isTrueNumber, kTrueNumber},
  };
  return problemByRules(entry, rules);
}

Problem _validateAuthenticationDictionary(const Dictionary& entry) {
  static constexpr Rule rules[] = {
      {QRBSourceControlWorkspaceBlueprintRemoteRepositoryAuthenticationTypeKey, namesStrategy,
       "the name of a kind of authentication", Presence::needed},
      {QRBSourceControlWorkspaceBlueprintRemoteRepositoryUsernameKey, isText, kText},
      {QRBSourceControlWorkspaceBlueprintRemoteRepositoryPasswordKey, isText, kText},
      {QRBSourceControlWorkspaceBlueprintRemoteRepositoryPublicKeyDataKey, isText, kText},
      {QRBSourceControlWorkspaceBlueprintRemoteRepositoryPrivateKeyDataKey, isText, kText},
      {QRBSourceControlWorkspaceBlueprintRemoteRepositoryAuthenticationStrategiesKey, isText, kText},
  };
  return problemByRules(entry, rules);
}

Problem _validateLocationDictionary(const Dictionary& entry) {
  static constexpr Rule rules[] = {
      {QRBSourceControlWorkspaceBlueprintLocationTypeKey, namesLocation, "the name of a kind of location"},
  };
  return problemByRules(entry, rules);
}

Problem validateRepositoryLocations(const Dictionary& entry) {
  static constexpr Rule rules[] = {
      {QRBSourceControlWorkingCopyRepositoryPrimaryBranchLocationKey, isText, kText},
      {QRBSourceControlWorkingCopyRepositoryBranchesLocationKey, isText, kText},
      {QRBSourceControlWorkingCopyRepositoryTagsLocationKey, isText, kText},
  };
  return problemByRules(entry, rules);
}

Problem validateText(const Dictionary& value) {
  return isText(value) ? std::nullopt : Problem("The value must be a text.");
}

Problem validateNonEmptyText(const Dictionary& value) {
  return isNonEmptyText(value) ? std::nullopt : Problem("The value must be a text that is not empty.");
}

Problem validateState(const Dictionary& value) {
  return isWholeNumber(value) ? std::nullopt : Problem("The value must be a whole number, 0 or above.");
}

Problem validateNumber(const Dictionary& value) {
  return isNumber(value) ? std::nullopt : Problem("The value must be a boolean.");
}

// Entries of the legacy form

Problem _validateLegacyRemoteRepositoryDictionary(const Dictionary& entry) {
  static constexpr Rule rules[] = {
      {QRBSourceControlLegacyWorkspaceWCCIdentifierKey, isNonEmptyText, kNonEmptyText, Presence::needed},
      {QRBSourceControlLegacyWorkspaceSystemIdentifierKey, isNonEmptyText, kNonEmptyText, Presence::needed},
      {QRBSourceControlLegacyWorkspaceWCCNameKey, isText, kText},
      {QRBSourceControlLegacyWorkspaceTrunkLocationKey, isText, kText},
      {QRBSourceControlLegacyWorkspaceBranchesLocationKey, isText, kText},
      {QRBSourceControlLegacyWorkspaceTagsLocationKey, isText, kText},
  };
  return problemByRules(entry, rules);
}

// One form: where its repositories are listed, and what its keys hold.

struct Section {
  const char* key;
  Problem (*validateEntry)(const Dictionary& entry);
};

struct Form {
  const char* repositoriesKey;
  const char* identifierKey;
  const char* primaryKey;
  Problem (*validateRepository)(const Dictionary& entry);
  std::vector<Rule> rules;
  std::vector<Section> sections;
};

const Form& currentForm() {
  static const auto& form =
      *new Form{QRBSourceControlWorkspaceBlueprintRemoteRepositoriesKey,
                QRBSourceControlWorkspaceBlueprintRemoteRepositoryIdentifierKey,
                QRBSourceControlWorkspaceBlueprintPrimaryRemoteRepositoryKey,
                _validateRemoteRepositoryDictionary,
                {{QRBSourceControlWorkspaceBlueprintIdentifierKey, isNonEmptyText, kNonEmptyText},
                 {QRBSourceControlWorkspaceBlueprintNameKey, isNonEmptyText, kNonEmptyText},
                 {QRBSourceControlWorkspaceBlueprintRelativePathToProjectKey, isNonEmptyText, kNonEmptyText},
                 {QRBSourceControlWorkspaceBlueprintFavoriteStatusKey, isNumber, "a boolean"}},
                {{QRBSourceControlWorkspaceBlueprintRemoteRepositoryAuthenticationStrategiesKey,
                  _validateAuthenticationDictionary},
                 {QRBSourceControlWorkspaceBlueprintLocationsKey, _validateLocationDictionary},
                 {QRBSourceControlWorkspaceBlueprintWorkingCopyPathsKey, validateText},
                 {QRBSourceControlWorkspaceBlueprintWorkingCopyStatesKey, validateState},
                 {QRBSourceControlWorkspaceBlueprintWorkingCopyRepositoryLocationsKey, validateRepositoryLocations}}};
  return form;
}

const Form& legacyForm() {
  static const auto& form =
      *new Form{QRBSourceControlLegacyWorkspaceBlueprintWCConfigurationsKey,
                QRBSourceControlLegacyWorkspaceWCCIdentifierKey,
                QRBSourceControlLegacyWorkspaceBlueprintWCCIdentifierKey,
                _validateLegacyRemoteRepositoryDictionary,
                {{QRBSourceControlLegacyWorkspaceBlueprintIdentifierKey, isNonEmptyText, kNonEmptyText},
                 {QRBSourceControlLegacyWorkspaceBlueprintNameKey, isNonEmptyText, kNonEmptyText},
                 {QRBSourceControlLegacyWorkspaceBlueprintPathKey, isNonEmptyText, kNonEmptyText},
                 {QRBSourceControlLegacyWorkspaceBlueprintFavoriteKey, isNumber, "a boolean"}},
                {{QRBSourceControlLegacyWorkspaceBlueprintRepositoryRootsKey, validateNonEmptyText},
                 {QRBSourceControlLegacyWorkspaceBlueprintOriginsKey, validateNonEmptyText},
                 {QRBSourceControlLegacyWorkspaceBlueprintInstallPathsKey, validateText},
                 {QRBSourceControlLegacyWorkspaceBlueprintRequiredConfigurationsKey, validateNumber}}};
  return form;
}

class Validator {
 public:
  Validator(const Form& form, const Dictionary& file) : _form(form), _file(file) {
    for (const Dictionary& entry : file[form.repositoriesKey].elements()) {
      const Dictionary* identifier = entry.find(form.identifierKey);
      if (identifier != nullptr && identifier->isString()) _listed.insert(identifier->string());
    }
  }

  Problem problem() const {
    // The repositories come first, since the other keys are checked against what is listed here.
    const Dictionary* repositories = _file.find(_form.repositoriesKey);
    if (Problem found = repositories == nullptr ? std::nullopt : problemOfRepositories(*repositories)) return found;
    for (const auto& [key, value] : _file.entries()) {
      if (Problem found = problemOfKey(key, value)) return found;
    }
    return std::nullopt;
  }

 private:
  Problem problemOfKey(const std::string& key, const Dictionary& value) const {
    if (key == _form.primaryKey) {
      bool isListed = value.isString() && repoExists(value.string());
      return isListed ? std::nullopt : mustBe(key, "the identifier of a repository that is listed");
    }
    for (const Rule& rule : _form.rules) {
      if (key == rule.key) return rule.test(value) ? std::nullopt : mustBe(key, rule.what);
    }
    for (const Section& section : _form.sections) {
      if (key == section.key) return within(key, problemOfSection(value, section));
    }
    return std::nullopt;
  }

  Problem problemOfRepositories(const Dictionary& value) const {
    if (!value.isArray()) return mustBe(_form.repositoriesKey, "an array of dictionaries");
    for (std::size_t index = 0; index < value.size(); ++index) {
      Problem found = _form.validateRepository(value.elements()[index]);
      if (found) return within(std::string(_form.repositoriesKey) + "[" + std::to_string(index) + "]", found);
    }
    return std::nullopt;
  }

  Problem problemOfSection(const Dictionary& value, const Section& section) const {
    if (!isDictionary(value)) return "The value must be a dictionary.";
    for (const auto& [identifier, entry] : value.entries()) {
      if (!repoExists(identifier)) return "No repository is listed under " + inQuotes(identifier) + ".";
      if (Problem found = section.validateEntry(entry)) return within(identifier, found);
    }
    return std::nullopt;
  }

  bool repoExists(const std::string& identifier) const { return _listed.count(identifier) != 0; }

  const Form& _form;
  const Dictionary& _file;
  std::unordered_set<std::string_view> _listed;
};

}  // namespace

}  // namespace qrb::detail

bool Blueprint::validateDictionary(const qrb::Dictionary& dictionary, qrb::Error* error) {
  using namespace qrb::detail;
  BlueprintForm form = formOfBlueprint(dictionary);
  Problem problem =
      form == BlueprintForm::none
          ? Problem(kNoVersionProblem)
          : Validator(form == BlueprintForm::current ? currentForm() : legacyForm(), dictionary).problem();
  if (problem && error != nullptr) *error = blueprintError(*problem);
  return !problem;
}
