#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>

#include "QRBSourceControlModelPrivate.h"
#include "QRBSourceControlPlugInMain.h"

namespace {

using nlohmann::json;
using Location = QRBSourceControlRevisionLocationPtr;
using Layout = QRBSourceControlBranchAndTagLocationsPtr;

Location locationFrom(const json& form) {
  auto text = [&](const char* key) { return qrb::String(form.value(key, std::string())); };
  Location location;
  if (form.contains("branch")) {
    qrb::String remote = form.contains("remote") ? text("remote") : qrb::String();
    location = QRBSourceControlBranch::initWithBranchNameRemoteName(text("branch"), false, remote);
  } else if (form.contains("path")) {
    location = QRBSourceControlPathLocation::initWithRelativePath(text("path"));
  } else if (form.contains("at")) {
    location = QRBSourceControlRevisionLocation::initWithRevision(nullptr);
  }
  if (location != nullptr && form.contains("at")) {
    location = location->locationWithRevision(QRBSourceControlRevision::initWithIdentifier(text("at")));
  }
  return location;
}

std::string shown(const Location& location) {
  return location == nullptr ? "no location" : location->description();
}

std::string shown(const QRBSourceControlRevisionPtr& revision) {
  return revision == nullptr ? "none" : revision->identifier().str();
}

// Each message answers with the entry "<message> <name>" of the script, where the name is the last component of the
// working copy's or repository's URL: "error" is the code of an error, "hang" never answers, the other keys are values.
class ScriptedPlugIn : public QRBSourceControlPlugInPrimary {
 public:
  explicit ScriptedPlugIn(std::string folder) : _folder(std::move(folder)) {}

  void filesAndStatusOfWorkingCopy(
      const QRBSourceControlWorkingCopyPtr& workingCopy, bool withRemoteStatus,
      Completion<QRBSourceControlPathStatusesPtr, QRBSourceControlPathStatusesPtr> completionBlock) override {
    const json entry = begin("status", *workingCopy, withRemoteStatus ? "with remote" : "");
    completionBlock(statuses(entry, "local"), statuses(entry, "remote"), error(entry));
  }

  void historyOfWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy, const QRBSourceControlRevisionPtr& from,
                            const QRBSourceControlRevisionPtr& to, std::uint64_t inclusionType,
                            std::int64_t maximumLogItems, const qrb::String& searchString, std::uint64_t searchType,
                            const qrb::String& progressIdentifier, Completion<LogItems> completionBlock) override {
    const json entry =
        begin("history", *workingCopy,
              shown(from) + " " + shown(to) + " " + std::to_string(inclusionType) + " " +
                  std::to_string(maximumLogItems) + " " + searchString.str() + " " + std::to_string(searchType));
    LogItems items;
    for (int date : entry.value("dates", std::vector<int>())) {
      items.push_back(QRBSourceControlLogItem::initWithAuthor(
          nullptr, QRBSourceControlRevision::initWithIdentifier(std::to_string(date)),
          qrb::Date(std::chrono::seconds(date)), "message", nullptr, workingCopy));
    }
    for (double fraction : entry.value("progress", std::vector<double>())) {
      host().incrementalLogStatus(items, fraction, progressIdentifier);
    }
    completionBlock(items, error(entry));
  }

  void forceUpdateWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy,
                              const QRBSourceControlRemoteRepositoryPtr& fromRepository,
                              Completion<> completionBlock) override {
    const json entry = begin("update", *workingCopy, fromRepository->URL().absoluteString().str());
    completionBlock(error(entry));
  }

  void currentLocationOfWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy,
                                    Completion<Location> completionBlock) override {
    const json entry = begin("location", *workingCopy);
    completionBlock(locationFrom(entry), error(entry));
  }

  void identifierOfRepositoryForWorkingCopy(const QRBSourceControlWorkingCopyPtr& workingCopy,
                                            Completion<qrb::String> completionBlock) override {
    const json entry = begin("identifier", *workingCopy);
    completionBlock(text(entry, "identifier"), error(entry));
  }

  void remoteBranchFromRepository(const QRBSourceControlRepositoryPtr& repository,
                                  const QRBSourceControlBranchPtr& forBranch,
                                  Completion<QRBSourceControlBranchPtr> completionBlock) override {
    const json entry = begin("remote-branch", *repository, forBranch->name().str());
    completionBlock(std::dynamic_pointer_cast<const QRBSourceControlBranch>(locationFrom(entry)), error(entry));
  }

  void listRemoteRepositoriesForRepository(
      const QRBSourceControlRepositoryPtr& repository,
      Completion<QRBSourceControlRemoteRepositoryPtr, QRBSourceControlRemoteRepositoriesPtr> completionBlock) override {
    const json entry = begin("remotes", *repository);
    QRBSourceControlRemoteRepositories remotes;
    const json forms = entry.value("remotes", json::object());
    for (const auto& [name, form] : forms.items()) {
      remotes.set(qrb::String(name),
                  QRBSourceControlRemoteRepository::initUnsavedWithURL(
                      qrb::URL(text(form, "url")), text(form, "identifier"), repository->sourceControlSystem()));
    }
    const auto* primary = remotes.find(entry.value("primary", std::string()));
    completionBlock(primary == nullptr ? nullptr : *primary,
                    std::make_shared<QRBSourceControlRemoteRepositories>(remotes), error(entry));
  }

  void createWorkingCopyFromRepository(const QRBSourceControlRemoteRepositoryPtr& repository, const Location& location,
                                       const Layout& layout, const qrb::URL& localAddress,
                                       const qrb::String& progressIdentifier,
                                       Completion<QRBSourceControlWorkingCopyPtr> completionBlock) override {
    const json entry = begin("create", *repository,
                             localAddress.path().str() + " " + shown(location) + (layout ? " with layout" : ""));
    for (double fraction : entry.value("progress", std::vector<double>())) {
      host().progressStatus(QRBSourceControlProgressStatus::copying, fraction, "copying", progressIdentifier);
    }
    auto workingCopy = QRBSourceControlWorkingCopy::initWithFileURLUnidentifiableRepository(
        localAddress, QRBSourceControlRepository::initWithURL(localAddress, repository->sourceControlSystem()));
    completionBlock(workingCopy, error(entry));
  }

  void repositoryURLRootForRepository(const QRBSourceControlRemoteRepositoryPtr& repository,
                                      Completion<qrb::URL, QRBSourceControlPathLocationPtr> completionBlock) override {
    const json entry = begin("root", *repository);
    completionBlock(qrb::URL(text(entry, "url")),
                    std::dynamic_pointer_cast<const QRBSourceControlPathLocation>(locationFrom(entry)), error(entry));
  }

  void automaticallyDetectBranchAndTagLocationsForRepository(const QRBSourceControlRepositoryPtr& repository,
                                                             const QRBSourceControlPathLocationPtr& fromPath,
                                                             Completion<Location, Layout> completionBlock) override {
    const json entry = begin("detect", *repository, fromPath->relativePath().str());
    completionBlock(
        locationFrom(entry),
        entry.contains("layout") ? QRBSourceControlBranchAndTagLocations::locationsWithStandardLayout() : nullptr,
        error(entry));
  }

  void listBranchesOfRepository(const QRBSourceControlRepositoryPtr& repository, const Layout& layout,
                                Completion<Branches> completionBlock) override {
    const json entry = begin("branches", *repository, layout ? "with layout" : "");
    Branches branches;
    for (const std::string& name : entry.value("branches", std::vector<std::string>())) {
      branches.push_back(QRBSourceControlBranch::initWithBranchName(name, false));
    }
    completionBlock(branches, error(entry));
  }

  void validateAuthenticationOfRemoteRepository(const QRBSourceControlRemoteRepositoryPtr& repository,
                                                const Location& location, const Layout&,
                                                Completion<> completionBlock) override {
    completionBlock(error(begin("validate", *repository, shown(location))));
  }

  void headRevisionOfRepository(const QRBSourceControlRepositoryPtr& repository,
                                Completion<QRBSourceControlRevisionPtr> completionBlock) override {
    const json entry = begin("head", *repository);
    completionBlock(QRBSourceControlRevision::initWithIdentifier(text(entry, "revision")), error(entry));
  }

  void revisionOfLocation(const Location& location, const QRBSourceControlRepositoryPtr& inRepository, const Layout&,
                          Completion<QRBSourceControlRevisionPtr> completionBlock) override {
    const json entry = begin("revision", *inRepository, shown(location));
    completionBlock(QRBSourceControlRevision::initWithIdentifier(text(entry, "revision")), error(entry));
  }

  // Every folder that holds the marker is a working copy; a file in it may say of which repository.
  void scanForWorkingCopiesInPotentialWorkingCopies(const std::vector<qrb::URL>& candidates,
                                                    Answer<WorkingCopies> completionBlock) override {
    WorkingCopies workingCopies;
    for (const qrb::URL& candidate : candidates) {
      qrb::URL root = qrb::URL::fileURL(std::filesystem::path(candidate.path().str()).string(), true);
      workingCopies.push_back(QRBSourceControlWorkingCopy::initWithFileURLUnidentifiableRepository(
          root, QRBSourceControlRepository::initWithURL(root, scannedSystem())));
    }
    completionBlock(workingCopies);
  }

 private:
  static QRBSourceControlSystemPtr scannedSystem() {
    return QRBSourceControlSystem::initWithName("Test", "org.qrb.Orlix.sourcecontrol.Git", "1", ".git", {}, true, true,
                                                false, false, false, 7);
  }
  static qrb::String text(const json& entry, const char* key) {
    return entry.contains(key) ? qrb::String(entry[key].get<std::string>()) : qrb::String();
  }
  static qrb::Error error(const json& entry) {
    if (!entry.contains("error")) return {};
    return qrb::Error("org.qrb.SourceControlErrorDomain", entry["error"].get<std::int64_t>());
  }
  static QRBSourceControlPathStatusesPtr statuses(const json& entry, const char* key) {
    if (!entry.contains(key)) return nullptr;
    QRBSourceControlPathStatuses statuses;
    for (const json& path : entry[key]) statuses.set(qrb::String(path.get<std::string>()), 4);
    return std::make_shared<QRBSourceControlPathStatuses>(statuses);
  }

  template <class Subject>
  json begin(const std::string& message, const Subject& subject, const std::string& detail = {}) {
    std::string name = nameOf(subject);
    std::string key = message + " " + name;
    std::string line = key + (detail.empty() ? "" : " | " + detail) + "\n";
    // Read only now: a process that was launched ahead would know an earlier script, or half of this one.
    std::ifstream file(_folder + "/script");
    const json script = json::parse(file);
    // Whole lines, also while another process of the script is still ending.
    int log = ::open((_folder + "/log").c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    (void)!::write(log, line.data(), line.size());
    ::close(log);
    const json entry = script.value(key, json::object());
    if (entry.value("hang", false)) {
      for (;;) ::pause();
    }
    return entry;
  }
  static std::string nameOf(const QRBSourceControlWorkingCopy& workingCopy) {
    return workingCopy.fileURL().lastPathComponent().str();
  }
  static std::string nameOf(const QRBSourceControlRepository& repository) {
    return repository.URL().lastPathComponent().str();
  }

  std::string _folder;
};

}  // namespace

int main(int, char** arguments) {
  std::string path = arguments[0];
  return QRBSourceControlRunPlugIn(std::make_shared<ScriptedPlugIn>(path.substr(0, path.rfind('/'))));
}
