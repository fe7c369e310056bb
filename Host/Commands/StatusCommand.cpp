#include "Command.h"
#include "QRBSourceControlCancellable.h"
#include "QRBSourceControlStatusValues.h"
#include "QRBSourceControlWorkingCopy.h"
#include "Text.h"
#include "WorkingCopyFinder.h"

namespace host {

namespace {

constexpr std::uint64_t bitsFrom(unsigned lowest, unsigned highest) {
  return ((std::uint64_t{2} << highest) - 1) & ~((std::uint64_t{1} << lowest) - 1);
}
constexpr std::uint64_t kStagedBits = bitsFrom(8, 15);
constexpr std::uint64_t kRenames = QRBSourceControlStatusRenamed | QRBSourceControlStatusStagedRenamed;

struct Options {
  std::shared_ptr<std::string> path;
  bool remote = false;
  bool ignored = false;
};

struct Reports {
  QRBSourceControlPathStatusesPtr local;
  QRBSourceControlPathStatusesPtr remote;
};

// The bits of the two reports never overlap, so a path that both name is one entry.
std::vector<std::pair<qrb::String, std::uint64_t>> merged(const Reports& reports, bool withIgnored) {
  std::vector<std::pair<qrb::String, std::uint64_t>> entries;
  static const QRBSourceControlPathStatuses none;
  const auto& local = reports.local ? *reports.local : none;
  const auto& remote = reports.remote ? *reports.remote : none;
  auto other = remote.begin();
  auto add = [&](const qrb::String& path, std::uint64_t status) {
    if (withIgnored || (status & QRBSourceControlStatusIgnored) == 0) entries.emplace_back(path, status);
  };
  for (const auto& [path, status] : local) {
    for (; other != remote.end() && other->first < path; ++other) add(other->first, other->second);
    bool isInBoth = other != remote.end() && other->first == path;
    add(path, status | (isInBoth ? other->second : 0));
    if (isInBoth) ++other;
  }
  for (; other != remote.end(); ++other) add(other->first, other->second);
  return entries;
}

using Entries = std::vector<std::pair<qrb::String, std::uint64_t>>;

// A report says which paths are new names and which are old ones, not which belong together; with one of each there is
// no doubt.
std::pair<qrb::String, qrb::String> onlyRename(const Entries& entries) {
  const std::pair<qrb::String, std::uint64_t>* found[2] = {nullptr, nullptr};
  for (const auto& entry : entries) {
    for (int side = 0; side < 2; ++side) {
      if ((entry.second & (side == 0 ? QRBSourceControlStatusMovedAway : kRenames)) == 0) continue;
      if (found[side] != nullptr) return {};
      found[side] = &entry;
    }
  }
  if (found[0] == nullptr || found[1] == nullptr || found[0] == found[1]) return {};
  return {found[0]->first, found[1]->first};
}

Style styleOf(std::uint64_t status) {
  if ((status & QRBSourceControlStatusConflicted) != 0) return Style::red;
  if ((status & (QRBSourceControlStatusUntracked | QRBSourceControlStatusIgnored)) != 0) return Style::dim;
  if ((status & ~(kStagedBits | QRBSourceControlStatusMovedAway)) == 0) return Style::green;
  return Style::yellow;
}

std::string joinedWords(std::uint64_t status) {
  std::string text;
  // That it is a folder is shown by a slash.
  for (std::string_view word : QRBSourceControlStatusWords(status & ~QRBSourceControlStatusDirectory)) {
    if (!text.empty()) text += ", ";
    text += word;
  }
  return text;
}

void printJSON(Output& output, const Entries& entries) {
  JSONArray array(output);
  auto [original, renamed] = onlyRename(entries);
  for (const auto& [path, status] : entries) {
    JSONValue entry;
    setPath(entry, "path", path.view());
    entry["status"] = QRBSourceControlStatusWords(status);
    if (renamed && path == renamed) setPath(entry, "originalPath", original.view());
    array.add(entry);
  }
  array.finish();
}

void printPlain(Session& session, const Entries& entries) {
  constexpr std::size_t kWidest = 32;
  Output& output = session.output();
  std::size_t width = 0;
  for (const auto& entry : entries) width = std::max(width, std::min(kWidest, joinedWords(entry.second).size()));
  auto [original, renamed] = onlyRename(entries);
  for (const auto& [path, status] : entries) {
    std::string words = joinedWords(status);
    output.write(styleOf(status), words);
    output.write(std::string(words.size() < width ? width - words.size() : 0, ' ') + "  ");
    if (renamed && path == renamed) output.write(displayPath(original.view()) + " -> ");
    bool isFolder = (status & QRBSourceControlStatusDirectory) != 0 && !path.view().ends_with('/');
    output.write(displayPath(isFolder ? path.str() + "/" : path.str()) + "\n");
  }
  if (entries.empty() && output.isTerminal()) session.note("No changes.");
}

ExitStatus runStatus(Session& session, const Options& options) {
  FoundWorkingCopy found = findWorkingCopy(session, *options.path);
  if (found.error) return session.fail(found.error);
  auto reports = std::make_shared<Reports>();
  qrb::Error error = session.perform("Looking for changes", [&](Session::Done done) {
    return found.workingCopy->filesAndStatusWithRemoteStatus(
        options.remote, [reports, done](auto local, auto remote, qrb::Error failure) {
          *reports = {std::move(local), std::move(remote)};
          done(std::move(failure));
        });
  });
  if (error) return session.fail(error);
  Entries entries = merged(*reports, options.ignored);
  if (session.json()) {
    printJSON(session.output(), entries);
  } else {
    printPlain(session, entries);
  }
  return ExitStatus::success;
}

Command::Run declareStatus(CLI::App& app) {
  auto options = std::make_shared<Options>();
  app.add_flag("--remote", options->remote, "Show also what the repository has and the working copy has not yet");
  app.add_flag("--ignored", options->ignored, "Show also what is ignored");
  options->path = addPathArgument(app);
  return [options](Session& session) { return runStatus(session, *options); };
}

}  // namespace

extern const Command statusCommand{
    "status", "Show what was changed in a working copy",
    "Shows the whole working copy that the folder belongs to; paths are relative to its root. Paths that a terminal\n"
    "could not show safely are quoted as in C.\n\n"
    "Examples:\n"
    "  qrbscm status                     of the working copy around the current folder\n"
    "  qrbscm status --ignored ~/orchard what is ignored, too\n"
    "  qrbscm status --json | jq '.[].path'\n",
    declareStatus};

}  // namespace host
