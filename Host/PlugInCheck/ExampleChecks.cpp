#include "ExampleChecks.h"

#include <algorithm>

#include "Guarded.h"
#include "LibraryRequest.h"
#include "PrivateFolder.h"
#include "QRBSourceControl.h"
#include "QRBSourceControlHistoryTypes.h"
#include "QRBSourceControlManager.h"
#include "QRBSourceControlPlugInProtocol.h"
#include "QRBSourceControlStatusValues.h"
#include "WorkingCopyFinder.h"

namespace host {

namespace {

namespace fs = std::filesystem;
using LogItems = std::vector<QRBSourceControlLogItemPtr>;
using Branches = std::vector<QRBSourceControlBranchPtr>;
using Location = QRBSourceControlRevisionLocationPtr;
using Revision = QRBSourceControlRevisionPtr;

constexpr const char* kHistorySection = "History requests";
constexpr const char* kCallbacksSection = "Callbacks";
constexpr std::int64_t kMostItems = 100;
constexpr std::int64_t kLastProgressStatus = 4;

QRBSourceControlManager& manager() {
  return *QRBSourceControlManager::sharedInstance();
}

/// What is wrong with a path of a status or a log item; empty where nothing is.
std::string faultOfPath(std::string_view path) {
  if (path.empty()) return "It reports an empty path.";
  if (path.starts_with('/')) return "The path " + inQuotes(path) + " is not relative.";
  if (path.ends_with('/')) return "The path " + inQuotes(path) + " ends in a /.";
  fs::path parts(path);
  if (std::ranges::count(parts, fs::path("..")) > 0) return "The path " + inQuotes(path) + " leads out.";
  return {};
}

std::string faultOfStatuses(const QRBSourceControlPathStatusesPtr& statuses) {
  std::uint64_t known = 0;
  for (const QRBSourceControlStatusWord& word : QRBSourceControlStatusWordTable) known |= word.bit;
  if (statuses == nullptr) return {};
  for (const auto& [path, status] : *statuses) {
    if (std::string fault = faultOfPath(path.view()); !fault.empty()) return fault;
    if ((status & ~known) != 0) {
      return "The status " + std::to_string(status) + " of " + inQuotes(path.view()) + " has bits without a meaning.";
    }
  }
  return {};
}

std::string faultOfItems(const LogItems& items) {
  for (const QRBSourceControlLogItemPtr& item : items) {
    if (item->revision() == nullptr && !item->isUnversionedLogItem()) return "A log item has no revision.";
    if (std::string fault = faultOfStatuses(item->pathsWithStatus()); !fault.empty()) return fault;
  }
  return {};
}

Verdict unless(const std::string& fault, const Verdict& verdict) {
  return fault.empty() ? verdict : Verdict::wrong(fault);
}

Verdict mustSucceed(const PlugInAtWork& work, Verdict verdict, bool hasValues) {
  bool isError = verdict.result == Verdict::Result::ok && !hasValues;
  return isError && !work.isStopped ? Verdict::wrong(verdict.detail) : verdict;
}

// Hosts know by the name of its folder what a plug-in that does not search is asked about.
Verdict takeUnsearched(PlugInAtWork& work) {
  work.workingCopy = workingCopyWithRoot(work.folder.native(), work.plugIn.asked().system);
  return work.workingCopy ? Verdict::notServed()
                          : Verdict::wrong("It does not search, and " + work.folder.native() + " has no folder \"" +
                                           work.plugIn.asked().system->workingCopyFolderIdentifier().str() + "\".");
}

Verdict checkScan(PlugInAtWork& work) {
  constexpr std::string_view kSearches[] = {
      QRBSourceControlPlugInProtocol::scanForWorkingCopiesInFolderPaths.selector,
      QRBSourceControlPlugInProtocol::scanForWorkingCopiesInPotentialWorkingCopies.selector};
  bool isServed =
      std::ranges::any_of(kSearches, [&](std::string_view method) { return work.plugIn.served.contains(method); });
  if (!isServed && !work.plugIn.hidesUnserved) return takeUnsearched(work);
  Verdict verdict;
  qrb::Guarded<QRBSourceControlServiceFailure> lost;
  auto observer = manager().observeServiceFailures([&](const QRBSourceControlServiceFailure& failure) {
    lost.with([&](QRBSourceControlServiceFailure& held) { held = failure; });
  });
  using Found = std::shared_ptr<const QRBSourceControlManager::WorkingCopies>;
  auto values = askLibrary<Found>(work, verdict, [&](auto completion) {
    return manager().scanForWorkingCopiesInFolderPaths(
        {work.folder.native()}, false, {work.plugIn.asked().system}, [completion](const Found& found) {
          completion(found, found ? qrb::Error() : QRBSourceControlError_Canceled());
        });
  });
  QRBSourceControlServiceFailure failure = lost.with([](const auto& held) { return held; });
  if (failure.error) {
    std::string told = failure.error.userInfo(QRBSourceControlUnderlyingErrorString).str();
    return failure.service == work.plugIn.identifier ? Verdict::wrong(told) : Verdict::skipped(told);
  }
  if (!values) return verdict;
  for (const QRBSourceControlWorkingCopyPtr& each : *std::get<0>(*values)) {
    if (fs::path(each->fileURL().path().str()).lexically_normal() / "" != work.folder / "") continue;
    if (each->repository() == nullptr || each->repository()->sourceControlSystem() == nullptr) {
      return Verdict::wrong("The working copy has no repository with a sourceControlSystem.");
    }
    work.workingCopy = each;
    return verdict;
  }
  return Verdict::wrong("It names no working copy whose root is " + work.folder.native() + ".");
}

Verdict checkStatus(PlugInAtWork& work) {
  using Statuses = QRBSourceControlPathStatusesPtr;
  Verdict verdict;
  auto values = askLibrary<Statuses, Statuses>(work, verdict, [&](auto completion) {
    return manager().filesAndStatusOfWorkingCopy(work.workingCopy, false, completion);
  });
  if (!values) return mustSucceed(work, verdict, false);
  const auto& [local, remote] = *values;
  if (local == nullptr) return Verdict::wrong("It reports no map of statuses; that of a clean working copy is empty.");
  if (remote != nullptr) return Verdict::wrong("It reports remote statuses, which were not asked for.");
  return unless(faultOfStatuses(local), verdict);
}

Verdict checkRemoteStatus(PlugInAtWork& work) {
  using Statuses = QRBSourceControlPathStatusesPtr;
  Verdict verdict;
  auto values = askLibrary<Statuses, Statuses>(work, verdict, [&](auto completion) {
    return manager().filesAndStatusOfWorkingCopy(work.workingCopy, true, completion);
  });
  return values ? unless(faultOfStatuses(std::get<1>(*values)), verdict) : verdict;
}

Verdict checkLocation(PlugInAtWork& work) {
  Verdict verdict;
  auto values = askLibrary<Location>(work, verdict, [&](auto completion) {
    return manager().currentLocationOfWorkingCopy(work.workingCopy, completion);
  });
  if (!values) return verdict;
  work.location = std::get<0>(*values);
  return work.location ? verdict : Verdict::wrong("It answers nil.");
}

Verdict checkBaseRevision(PlugInAtWork& work) {
  Verdict verdict;
  askLibrary<Revision>(work, verdict, [&](auto completion) {
    return manager().baseRevisionOfWorkingCopy(work.workingCopy, completion);
  });
  return verdict;
}

Verdict checkRepositoryIdentifier(PlugInAtWork& work) {
  Verdict verdict;
  askLibrary<qrb::String>(work, verdict, [&](auto completion) {
    return manager().updateIdentifierOfRepositoryForWorkingCopy(work.workingCopy, completion);
  });
  return verdict;
}

// The items of the answer, those that were streamed noted.
std::optional<LogItems> askHistory(PlugInAtWork& work, Verdict& verdict, std::int64_t most, const std::string& file) {
  auto streamed = std::make_shared<LogItems>();
  auto keep = [streamed](const LogItems& items, double) {
    streamed->insert(streamed->end(), items.begin(), items.end());
  };
  auto values = askLibrary<LogItems>(work, verdict, [&](auto completion) {
    if (file.empty()) {
      return manager().historyOfWorkingCopy(work.workingCopy, nullptr, nullptr, QRBSourceControlHistoryIncludeAll, most,
                                            {}, QRBSourceControlHistorySearchDefault, keep, completion);
    }
    return manager().historyOfFile(file, work.workingCopy, nullptr, nullptr, QRBSourceControlHistoryIncludeAll, most,
                                   {}, QRBSourceControlHistorySearchDefault, keep, completion);
  });
  if (!values) return std::nullopt;
  const LogItems& items = std::get<0>(*values);
  auto identifierOf = [](const QRBSourceControlLogItemPtr& item) {
    return item->revision() ? item->revision()->identifier() : qrb::String();
  };
  std::string fault = faultOfItems(items);
  if (static_cast<std::int64_t>(items.size()) > most) fault = "It answers more items than were asked for.";
  for (const QRBSourceControlLogItemPtr& item : *streamed) {
    if (std::ranges::count(items, identifierOf(item), identifierOf) > 0) continue;
    fault = "The item " + inQuotes(identifierOf(item).view()) + " was streamed and is not in the reply.";
  }
  verdict = unless(fault, verdict);
  return items;
}

bool isFile(const fs::path& path) {
  std::error_code failure;
  return fs::is_regular_file(fs::symlink_status(path, failure));
}

// Whether it is one of the system's, only the plug-in could tell.
std::string anyFileIn(const fs::path& folder) {
  std::error_code failure;
  for (fs::directory_iterator entry(folder, failure), end; !failure && entry != end; entry.increment(failure)) {
    if (isFile(entry->path())) return entry->path().filename().native();
  }
  return {};
}

Verdict checkHistory(PlugInAtWork& work) {
  Verdict verdict;
  auto items = askHistory(work, verdict, kMostItems, {});
  if (!items && verdict.result == Verdict::Result::notServed) work.file = anyFileIn(work.folder);
  if (!items) return mustSucceed(work, verdict, false);
  for (const QRBSourceControlLogItemPtr& item : *items) {
    if (item->pathsWithStatus() == nullptr) continue;
    for (const auto& [path, status] : *item->pathsWithStatus()) {
      if (work.file.empty() && isFile(work.folder / path.str())) work.file = path.str();
    }
  }
  return verdict;
}

Verdict checkOneItem(PlugInAtWork& work) {
  Verdict verdict;
  askHistory(work, verdict, 1, {});
  return verdict;
}

Verdict checkFileHistory(PlugInAtWork& work) {
  if (work.file.empty()) return Verdict::skipped("No file is known.");
  Verdict verdict;
  askHistory(work, verdict, kMostItems, work.file);
  return verdict;
}

Verdict checkBlame(PlugInAtWork& work) {
  if (work.file.empty()) return Verdict::skipped("No file is known.");
  using Items = std::vector<QRBSourceControlBlameItemPtr>;
  Verdict verdict;
  auto values = askLibrary<Items>(work, verdict, [&](auto completion) {
    return manager().blameFile(work.file, work.workingCopy, nullptr, completion);
  });
  if (!values) return verdict;
  std::uint64_t next = 1;
  for (const QRBSourceControlBlameItemPtr& item : std::get<0>(*values)) {
    QRBSourceControlLineRange range = item->lineRange();
    if (range.location != next || item->logItem() == nullptr) {
      return Verdict::wrong("Of " + inQuotes(work.file) + " the line " + std::to_string(next) +
                            " has no log item: the ranges do not follow each other.");
    }
    next += range.length;
  }
  return verdict;
}

Verdict checkExport(PlugInAtWork& work) {
  if (work.file.empty()) return Verdict::skipped("No file is known.");
  auto folder = qrb::PrivateFolder::temporary("qrbscm-");
  auto base = QRBSourceControlRevisionLocation::initWithRevision(QRBSourceControlRevision::sharedBaseRevision());
  Verdict verdict;
  auto values = askLibrary<qrb::URL>(work, verdict, [&](auto completion) {
    return manager().exportFileFromRevisionLocation(work.file, work.workingCopy, base,
                                                    qrb::URL::fileURL(folder.path(), true), completion);
  });
  if (!values) return verdict;
  fs::path wanted = fs::path(folder.path()) / fs::path(work.file).filename();
  std::error_code failure;
  if (std::get<0>(*values).path().str() != wanted.native() || !fs::exists(fs::symlink_status(wanted, failure))) {
    return Verdict::wrong("It answers " + inQuotes(std::get<0>(*values).absoluteString().view()) +
                          ", and the file belongs at " + inQuotes(wanted.native()) + ".");
  }
  return verdict;
}

Verdict checkHead(PlugInAtWork& work) {
  Verdict verdict;
  askLibrary<Revision>(work, verdict, [&](auto completion) {
    return manager().headRevisionOfRepository(work.workingCopy->repository(), completion);
  });
  return verdict;
}

Verdict checkRevisionOfLocation(PlugInAtWork& work) {
  if (work.location == nullptr) return Verdict::skipped("No location is known.");
  Verdict verdict;
  askLibrary<Revision>(work, verdict, [&](auto completion) {
    return manager().revisionOfLocation(work.location, work.workingCopy->repository(),
                                        work.workingCopy->branchAndTagLocations(), completion);
  });
  return verdict;
}

Verdict checkNamed(const Branches& branches, const Verdict& verdict) {
  bool isAnyNameless = std::ranges::any_of(
      branches, [](const QRBSourceControlBranchPtr& branch) { return branch->identifier().empty(); });
  return isAnyNameless ? Verdict::wrong("A branch has no identifier.") : verdict;
}

Verdict checkBranches(PlugInAtWork& work) {
  Verdict verdict;
  auto values = askLibrary<Branches>(work, verdict, [&](auto completion) {
    return manager().listBranchesOfRepository(work.workingCopy->repository(), work.workingCopy->branchAndTagLocations(),
                                              completion);
  });
  return values ? checkNamed(std::get<0>(*values), verdict) : verdict;
}

Verdict checkRemoteBranches(PlugInAtWork& work) {
  Verdict verdict;
  auto values = askLibrary<Branches, QRBSourceControlRemoteBranchesPtr>(work, verdict, [&](auto completion) {
    return manager().listRemoteBranchesOfRepository(work.workingCopy->repository(),
                                                    work.workingCopy->branchAndTagLocations(), completion);
  });
  return values ? checkNamed(std::get<0>(*values), verdict) : verdict;
}

Verdict checkRemotes(PlugInAtWork& work) {
  Verdict verdict;
  auto values = askLibrary<QRBSourceControlRemoteRepositoryPtr, QRBSourceControlRemoteRepositoriesPtr>(
      work, verdict, [&](auto completion) {
        return manager().listRemoteRepositoriesForRepository(work.workingCopy->repository(), completion);
      });
  const auto* remotes = values && std::get<1>(*values) ? std::get<1>(*values).get() : nullptr;
  if (remotes == nullptr) return verdict;
  for (const auto& [name, remote] : *remotes) {
    if (!remote->URL()) return Verdict::wrong("The remote " + inQuotes(name.view()) + " has no URL.");
  }
  return verdict;
}

Verdict checkTags(PlugInAtWork& work) {
  Verdict verdict;
  askLibrary<std::vector<QRBSourceControlTagPtr>>(work, verdict, [&](auto completion) {
    return manager().listTagsOfRepository(work.workingCopy->repository(), work.workingCopy->branchAndTagLocations(),
                                          completion);
  });
  return verdict;
}

Verdict checkLocks(PlugInAtWork& work) {
  Verdict verdict;
  auto values = askLibrary<qrb::Dictionary>(work, verdict, [&](auto completion) {
    return manager().listLocksOfWorkingCopy(work.workingCopy, false, completion);
  });
  bool isDictionary = !values || std::get<0>(*values).isObject();
  return isDictionary ? verdict : Verdict::wrong("The locks are no dictionary.");
}

std::string faultOfDifferences(const qrb::Dictionary& differences) {
  const qrb::Dictionary& files = differences["files"];
  if (!files.isArray()) return "The dictionary has no array \"files\".";
  for (const qrb::Dictionary& file : files.elements()) {
    for (const char* key : {"path", "change"}) {
      if (!file[key].isString()) return std::string("One of the files has no text \"") + key + "\".";
    }
  }
  return {};
}

Verdict checkDifferences(PlugInAtWork& work) {
  auto at = [](const Revision& revision) { return QRBSourceControlRevisionLocation::initWithRevision(revision); };
  Verdict verdict;
  auto values = askLibrary<qrb::Dictionary>(work, verdict, [&](auto completion) {
    return manager().diffRepository(work.workingCopy->repository(), at(QRBSourceControlRevision::sharedBaseRevision()),
                                    at(QRBSourceControlRevision::sharedUnversionedRevision()),
                                    work.workingCopy->branchAndTagLocations(), completion);
  });
  return values ? unless(faultOfDifferences(std::get<0>(*values)), verdict) : verdict;
}

QRBSourceControlRemoteRepositoryPtr remoteAt(PlugInAtWork& work) {
  auto remote = QRBSourceControlRemoteRepository::initUnsavedWithURL(qrb::URL(work.url), work.plugIn.asked().system);
  // Whom the user trusts besides is not what is asked here.
  remote->setEnforceTrustedServerFingerprint(false);
  return remote;
}

Verdict checkHint(PlugInAtWork& work) {
  auto guess =
      QRBSourceControlSystem::bestGuessSystemForURLAmongSystems(qrb::URL(work.url), {work.plugIn.asked().system});
  return Verdict::ok(guess ? "One of them matches." : "None of them matches, so a host does not guess the system.");
}

Verdict checkKeychainName(PlugInAtWork& work) {
  Verdict verdict;
  askLibrary<qrb::String, std::uint64_t, qrb::String>(work, verdict, [&](auto completion) {
    return manager().keychainNameFromURL(qrb::URL(work.url), work.plugIn.asked().system, completion);
  });
  return verdict;
}

Verdict checkValidation(PlugInAtWork& work) {
  Verdict verdict;
  askLibrary<>(work, verdict, [&](auto completion) {
    return manager().validateAuthenticationOfRepository(remoteAt(work), nullptr, nullptr, completion);
  });
  return verdict;
}

Verdict checkRoot(PlugInAtWork& work) {
  if (!work.plugIn.asked().system->repositoryURLIncludesSubpath()) {
    return Verdict::skipped("Its addresses do not point below a repository's root.");
  }
  Verdict verdict;
  askLibrary<qrb::URL, QRBSourceControlPathLocationPtr>(work, verdict, [&](auto completion) {
    return manager().updateRepositoryURLRootForRepository(remoteAt(work), completion);
  });
  return verdict;
}

constexpr ExampleCheck kWorkingCopyChecks[] = {
    {{"scan", kRequestsSection,
      "Among folders that hold such a name it finds the working copies of its own, each with its "
      "repository (4, 5)."},
     checkScan},
    {{"status", "Status bits",
      "It reports paths relative to the root with bits that have a meaning, and remote ones only where asked (6)."},
     checkStatus},
    {{"remote-status", "Status bits", "The same with remote statuses (6)."}, checkRemoteStatus},
    {{"location", kRequestsSection, "It tells where the working copy is (23)."}, checkLocation},
    {{"base-revision", kRequestsSection, "It tells what the working copy is based on (25)."}, checkBaseRevision},
    {{"repository-identifier", kRequestsSection, "It tells what the repository is known by (27)."},
     checkRepositoryIdentifier},
    {{"history", kHistorySection,
      "The reply holds all items, those that were streamed too, and no more than asked for (22)."},
     checkHistory},
    {{"one-item", kHistorySection, "A maximum of 1 brings one item (22)."}, checkOneItem},
    {{"file-history", kHistorySection, "The same of a file (19)."}, checkFileHistory},
    {{"blame", kRequestsSection, "Line ranges together cover the file, each with its log item (18)."}, checkBlame},
    {{"export", kRequestsSection, "The file is written into the directory under its own name (16)."}, checkExport},
    {{"head-revision", kRequestsSection, "It tells the newest revision (28)."}, checkHead},
    {{"revision-of-location", kRequestsSection, "It tells the revision that a location stands for (29)."},
     checkRevisionOfLocation},
    {{"branches", kRequestsSection, "It lists branches by their names (31)."}, checkBranches},
    {{"remote-branches", kRequestsSection, "It lists those of remotes (32)."}, checkRemoteBranches},
    {{"remotes", kRequestsSection, "It lists remotes, each with its address (38)."}, checkRemotes},
    {{"tags", kRequestsSection, "It lists tags, where additionalRequests say so."}, checkTags},
    {{"locks", kRequestsSection, "It lists locks, where additionalRequests say so."}, checkLocks},
    {{"differences", "Differences", "It compares two states, in the layout that hosts show (37)."}, checkDifferences},
};

constexpr ExampleCheck kAddressChecks[] = {
    {{"address-hints", "Classes", "URLHintStrings suggest the system for addresses."}, checkHint},
    {{"keychain-name", kRequestsSection, "It names the credentials of an address (3)."}, checkKeychainName},
    {{"validation", kRequestsSection, "It says whether the server lets in who asks (47)."}, checkValidation},
    {{"root-address", kRequestsSection, "It finds the root of the repository that an address points into (44)."},
     checkRoot},
};

}  // namespace

std::span<const ExampleCheck> workingCopyChecks() {
  return kWorkingCopyChecks;
}

std::span<const ExampleCheck> addressChecks() {
  return kAddressChecks;
}

extern const CheckText callbacksCheck{
    "callbacks", kCallbacksSection,
    "Callbacks carry the progress identifier of the request, a known status, and a fraction from 0 to 1."};

Verdict checkCallbacks(PlugInUnderCheck& plugIn, const QRBSourceControlWorkingCopyPtr& workingCopy) {
  constexpr const auto& kMessage = QRBSourceControlPlugInProtocol::historyOfWorkingCopy;
  qrb::String identifier("of this request");
  Conversation conversation(plugIn.setting);
  PlugInAnswer answer =
      conversation.ask(1, kMessage.selector,
                       argumentsOf(workingCopy, Revision(), Revision(), QRBSourceControlHistoryIncludeAll, kMostItems,
                                   qrb::String(), QRBSourceControlHistorySearchDefault, identifier));
  if (!answer) return Verdict::of(answer);
  if (answer.isUnserved()) return Verdict::notServed();
  for (const PlugInCallback& callback : conversation.callbacks()) {
    if (callback.progressIdentifier != identifier) {
      return Verdict::wrong("One has the progress identifier " + inQuotes(callback.progressIdentifier.view()) +
                            " and not the request's, so that hosts drop it.");
    }
    if (callback.status && (*callback.status < 0 || *callback.status > kLastProgressStatus)) {
      return Verdict::wrong("One has the status " + std::to_string(*callback.status) + ".");
    }
    if (callback.fraction && !(*callback.fraction >= 0 && *callback.fraction <= 1)) {
      return Verdict::wrong("One says that the fraction " + std::to_string(*callback.fraction) + " is done.");
    }
  }
  return Verdict::ok(std::to_string(conversation.callbacks().size()) + " came.");
}

}  // namespace host
