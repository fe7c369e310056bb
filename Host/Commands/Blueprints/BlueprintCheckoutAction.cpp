#include <cerrno>
#include <filesystem>

#include "BlueprintActions.h"
#include "BlueprintFiles.h"
#include "ErrorPrinting.h"
#include "HostError.h"
#include "LocationPrinting.h"
#include "QRBSourceControlMultiCancellable.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlURL.h"
#include "QRBSourceControlWorkingCopy.h"
#include "QRBSourceControlWorkspaceBlueprint.h"
#include "RemoteFinder.h"
#include "Text.h"
#include "WorkingCopyFinder.h"
#include "WorkspaceFinder.h"

namespace host {

namespace {

namespace fs = std::filesystem;
using BlueprintPtr = QRBSourceControlWorkspaceBlueprintPtr;
using RemotePtr = QRBSourceControlRemoteRepositoryPtr;
using WorkingCopyPtr = QRBSourceControlWorkingCopyPtr;

struct BlueprintCheckoutOptions {
  std::string file;
  std::string folder;
  std::string keyDirectory;
  bool allowsOutside = false;
};

struct Outcome {
  enum class Kind { checkedOut, alreadyThere, failed, interrupted };
  Kind kind = Kind::failed;
  QRBSourceControlRevisionLocationPtr location;
  qrb::Error error;
};

struct OutcomeWord {
  const char* text;
  Style style;
};
constexpr OutcomeWord kOutcomes[] = {{"checked out", Style::green},
                                     {"already there", Style::dim},
                                     {"failed", Style::red},
                                     {"interrupted", Style::yellow}};

// Whether one is the other or lies in it; neither has symbolic links.
bool holds(const fs::path& folder, const fs::path& place) {
  fs::path relative = place.lexically_relative(folder);
  return !relative.empty() && *relative.begin() != "..";
}

// Addresses of one repository may differ in how they end and in who asks.
std::string comparableAddress(const RemotePtr& remote) {
  std::string text = remote->anonymousURL().absoluteString().str();
  while (text.ends_with('/')) text.pop_back();
  if (text.ends_with(".git")) text.erase(text.size() - 4);
  return text;
}

/// One run. Repository by repository, so that each line tells what has come of it as soon as it is known, and so that a
/// place is looked at when the working copy around it is there, which may hold symbolic links.
class Checkout {
 public:
  Checkout(Session& session, BlueprintPtr blueprint, const BlueprintCheckoutOptions& options)
      : _session(session),
        _blueprint(std::move(blueprint)),
        _options(options),
        _root(fs::absolute(options.folder.empty() ? "." : options.folder).lexically_normal()),
        _rootURL(qrb::URL::fileURL(_root.native(), true)),
        _places(_blueprint->_expandedWorkingCopyPathsFromURL(_rootURL)),
        _array(session.output()) {}

  ExitStatus run() {
    auto remotes = _blueprint->_sortedRemoteRepositoriesWithExpandedPaths(_places);
    std::size_t done = 0;
    bool isInterrupted = false;
    for (const RemotePtr& remote : remotes) {
      Outcome outcome = treat(remote, done);
      isInterrupted = outcome.kind == Outcome::Kind::interrupted;
      print(remote, outcome);
      if (isInterrupted) break;
      ++done;
      if (outcome.error) _failures.emplace_back(placeOf(_blueprint, remote), outcome.error);
    }
    if (_session.json()) _array.finish();
    ExitStatus status = failWith(_session,
                                 std::to_string(_failures.size()) + " of " + std::to_string(remotes.size()) +
                                     " repositories could not be checked out:",
                                 _failures);
    // What had to be left out has been told in reading, but a workspace without it is not the whole.
    if (!isWhole(_blueprint)) status = ExitStatus::failed;
    if (!isInterrupted) return status;
    _session.note("qrbscm: the checkout was canceled after " + std::to_string(done - _failures.size()) + " of " +
                  std::to_string(remotes.size()) + " working copies. The same command goes on where it stopped.");
    return ExitStatus::failed;
  }

 private:
  Outcome treat(const RemotePtr& remote, std::size_t index) {
    qrb::URL place = _places.valueFor(remote);
    if (!place) return {Outcome::Kind::failed, nullptr, hostError("The blueprint has no path for it.", {}, ENOENT)};
    if (qrb::Error outside = refuseOutside(place)) return {Outcome::Kind::failed, nullptr, outside};
    Outcome outcome;
    if (isThere(remote, place, outcome)) return outcome;
    return create(remote, index);
  }

  qrb::Error refuseOutside(const qrb::URL& place) const {
    if (_options.allowsOutside) return {};
    std::error_code failure;
    fs::path root = fs::weakly_canonical(_root, failure);
    fs::path really = failure ? fs::path() : fs::weakly_canonical(place.path().str(), failure);
    if (failure) return hostError(place.path().str() + ": " + failure.message(), {}, failure.value());
    if (holds(root, (really / "").parent_path())) return {};
    return hostError("It would lie outside the folder, at \"" + really.native() + "\": a symbolic link leads there.",
                     "--allow-outside lets it.", EPERM);
  }

  // What is asked of a working copy that is in the place already.
  struct Presence {
    QRBSourceControlRevisionLocationPtr location;
    QRBSourceControlRemoteRepositoriesPtr remotes;
  };

  /// The working copy of this very repository: what is left to do when a checkout goes on. All else is in the way,
  /// which the attempt to make one will tell.
  bool isThere(const RemotePtr& remote, const qrb::URL& place, Outcome& outcome) {
    auto system = remote->sourceControlSystem();
    WorkingCopyPtr there = system ? workingCopyWithRoot(place.path().str(), system) : nullptr;
    if (there == nullptr) return false;
    auto presence = std::make_shared<Presence>();
    auto askLocation = [&](Session::Done done) {
      return there->currentLocationWithCompletionBlock([presence, done](auto location, qrb::Error error) {
        presence->location = std::move(location);
        done(std::move(error));
      });
    };
    auto askRemotes = [&](Session::Done done) {
      return there->repository()->listRemoteRepositoriesWithCompletionBlock(
          [presence, done](auto, auto remotes, qrb::Error error) {
            presence->remotes = std::move(remotes);
            done(std::move(error));
          });
    };
    for (const qrb::Error& error : _session.perform("Looking at what is there", {askLocation, askRemotes})) {
      if (!isCancellation(error)) continue;
      outcome.kind = Outcome::Kind::interrupted;
      return true;
    }
    if (!isOf(remote, presence->remotes)) return false;
    outcome.kind = Outcome::Kind::alreadyThere;
    outcome.location = presence->location;
    return true;
  }

  static bool isOf(const RemotePtr& remote, const QRBSourceControlRemoteRepositoriesPtr& remotes) {
    if (remotes == nullptr) return false;
    for (const auto& [name, each] : *remotes) {
      if (each != nullptr && comparableAddress(each) == comparableAddress(remote)) return true;
    }
    return false;
  }

  Outcome create(const RemotePtr& remote, std::size_t index) {
    std::string label = placeOf(_blueprint, remote);
    auto only = _blueprint->blueprintForRemoteRepository(remote);
    auto failed = std::make_shared<qrb::Error>();
    auto onProgress = [&session = _session, label](const qrb::String& text, double fraction, double) {
      session.progress().update(label + ": " + text.str(), fraction);
    };
    std::string title = std::to_string(index + 1) + "/" + std::to_string(_blueprint->remoteRepositories().size());
    qrb::Error error = _session.perform(title + " " + label, [&](Session::Done done) {
      return only->createWorkingCopiesAtURL(_rootURL, onProgress,
                                            [failed, remote, done](auto, auto, auto errors, qrb::Error whole) {
                                              if (errors != nullptr) *failed = errors->valueFor(remote);
                                              done(std::move(whole));
                                            });
    });
    if (!error) error = *failed;
    if (isCancellation(error)) return {Outcome::Kind::interrupted, nullptr, {}};
    if (error) return {Outcome::Kind::failed, nullptr, error};
    return {Outcome::Kind::checkedOut, _blueprint->locationForRemoteRepository(remote), {}};
  }

  void print(const RemotePtr& remote, const Outcome& outcome) {
    const OutcomeWord& word = kOutcomes[static_cast<std::size_t>(outcome.kind)];
    Output& output = _session.output();
    if (_session.json()) {
      JSONValue entry;
      setPath(entry, "path", placeOf(_blueprint, remote));
      entry["url"] = addressOf(remote);
      entry["outcome"] = word.text;
      entry["location"] = jsonOfLocation(outcome.location, true);
      if (outcome.error) entry["error"] = outcome.error.localizedDescription();
      _array.add(entry);
    } else {
      output.write(word.style, word.text);
      output.write(std::string(15 - std::string_view(word.text).size(), ' ') +
                   displayPath(placeOf(_blueprint, remote)));
      if (outcome.location) output.write(Style::dim, "  " + describedLocation(outcome.location));
      if (outcome.kind == Outcome::Kind::alreadyThere) writeOtherBranch(remote, outcome.location);
      output.write("\n");
    }
    output.flush();
  }

  // What is there stays as it is, so that the user may have to switch. Only branches tell for sure.
  void writeOtherBranch(const RemotePtr& remote, const QRBSourceControlRevisionLocationPtr& found) {
    auto recorded = _blueprint->locationForRemoteRepository(remote);
    if (!isBranch(found) || !isBranch(recorded) || isSameLocation(found, recorded)) return;
    _session.output().write("; the blueprint says " + describedLocation(recorded, false));
  }

  Session& _session;
  const BlueprintPtr _blueprint;
  const BlueprintCheckoutOptions& _options;
  const fs::path _root;
  const qrb::URL _rootURL;
  const QRBSourceControlWorkspaceBlueprint::Table<qrb::URL> _places;
  JSONArray _array;
  Failures _failures;
};

qrb::Error refuseClimbing(const BlueprintPtr& blueprint) {
  std::string paths;
  for (const auto& remote : blueprint->repositoriesWithWorkingCopyPathsAboveRootFolder()) {
    paths += (paths.empty() ? "" : ", ") + displayPath(placeOf(blueprint, remote));
  }
  if (paths.empty()) return {};
  return hostError("The blueprint has paths that lead out of the folder: " + paths + ".",
                   "If you trust it, --allow-outside checks these out too.", EPERM);
}

ExitStatus runCheckout(Session& session, const BlueprintCheckoutOptions& options) {
  auto read = readBlueprintForServers(session, options.file, options.keyDirectory);
  if (!read) return session.fail(read.error());
  if (!options.allowsOutside) {
    if (qrb::Error error = refuseClimbing(read->blueprint)) return session.fail(error);
  }
  return Checkout(session, read->blueprint, options).run();
}

}  // namespace

void addBlueprintCheckout(CommandDeclaration& blueprint) {
  auto options = std::make_shared<BlueprintCheckoutOptions>();
  CommandDeclaration& action =
      blueprint.action("checkout", "Make the working copies of a blueprint in a folder", with(options, runCheckout));
  action.argument("FILE", options->file, "The blueprint").file().required();
  action.argument("FOLDER", options->folder, "Where, made where it is missing (default: the current folder)").folder();
  addKeyDirectoryOption(action, options->keyDirectory);
  action.flag("--allow-outside", options->allowsOutside, "Let paths of the blueprint lead out of FOLDER");
  action.explain(
      "Prints a line for each repository, and at the end what failed and why; one that fails does not keep the others\n"
      "from being checked out. Nothing that is there is overwritten: working copies of the blueprint's repositories "
      "stay\n"
      "as they are, anything else is reported as being in the way. When it is interrupted, whole working copies are\n"
      "left and nothing of the one under way; the same command makes those that are missing.\n\n"
      "Examples:\n"
      "  qrbscm blueprint checkout orchard.oxscmblueprint ~/elsewhere\n"
      "  qrbscm blueprint checkout team.oxscmblueprint --key-directory ~/keys\n");
}

}  // namespace host
