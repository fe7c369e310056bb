#include <algorithm>

#include "FilePaths.h"
#include "FileRequest.h"
#include "LocationFinder.h"
#include "QRBSourceControlAuthor.h"
#include "QRBSourceControlBlameItem.h"
#include "QRBSourceControlCancellable.h"
#include "QRBSourceControlLogItem.h"
#include "QRBSourceControlRepository.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlRevisionLocation.h"
#include "Text.h"

namespace host {

namespace {

using BlameItems = QRBSourceControlWorkingCopy::BlameItems;

constexpr std::size_t kRevisionWidth = 10;
constexpr std::size_t kWidestAuthor = 20;

struct BlameOptions {
  std::string folder;
  std::string file;
  std::string place;
};

bool isUncommitted(const QRBSourceControlLogItemPtr& item) {
  return item == nullptr || item->revision() == nullptr || item->revision()->isUnversionedRevision();
}

std::string authorOf(const QRBSourceControlLogItemPtr& item) {
  return item != nullptr && item->author() != nullptr ? item->author()->displayName().str() : std::string();
}

void printJSON(Output& output, const BlameItems& items) {
  JSONArray array(output);
  for (const QRBSourceControlBlameItemPtr& item : items) {
    JSONValue entry;
    QRBSourceControlLogItemPtr origin = item->logItem();
    entry["firstLine"] = item->lineRange().location;
    entry["lineCount"] = item->lineRange().length;
    if (isUncommitted(origin)) {
      entry["revision"] = nullptr;
    } else {
      entry["revision"] = origin->revision()->identifier().view();
      entry["author"] = authorOf(origin);
      if (origin->author() != nullptr && !origin->author()->emails().empty()) {
        entry["email"] = origin->author()->emails().front().view();
      }
      entry["date"] = isoDate(origin->date());
      entry["message"] = origin->message().view();
    }
    array.add(entry);
  }
  array.finish();
}

std::string padded(std::string text, std::size_t width) {
  if (text.size() < width) text.append(width - text.size(), ' ');
  return text;
}

void printRange(Output& output, const QRBSourceControlBlameItem& item, std::size_t authorWidth) {
  QRBSourceControlLogItemPtr origin = item.logItem();
  QRBSourceControlLineRange range = item.lineRange();
  std::string lines = std::to_string(range.location);
  if (range.length > 1) lines += "-" + std::to_string(range.location + range.length - 1);
  output.write(Style::dim, padded(lines, 12));
  if (isUncommitted(origin)) {
    output.write(Style::red, "not committed yet");
  } else {
    output.write(Style::yellow, padded(displayText(origin->revision()->identifier().view()).substr(0, kRevisionWidth),
                                       kRevisionWidth));
    output.write("  " + padded(displayText(authorOf(origin)), authorWidth) + "  " + localDate(origin->date()) + "  ");
    std::string message = displayText(origin->message().view());
    output.write(message.substr(0, message.find('\n')));
  }
  output.write("\n");
}

void printPlain(Output& output, const BlameItems& items) {
  std::size_t width = 0;
  for (const QRBSourceControlBlameItemPtr& item : items) {
    width = std::max(width, std::min(kWidestAuthor, displayText(authorOf(item->logItem())).size()));
  }
  for (const QRBSourceControlBlameItemPtr& item : items) printRange(output, *item, width);
}

ExitStatus runBlame(Session& session, const BlameOptions& options) {
  session.endUnread();
  auto found = findWorkingCopy(session, options.folder);
  if (!found) return session.fail(found.error());
  auto path = pathInWorkingCopy(options.file, options.folder, found->root);
  if (!path) return session.fail(path.error());
  QRBSourceControlRevisionLocationPtr location;
  if (!options.place.empty()) {
    auto at = findLocation(session, found->workingCopy->repository(), options.place);
    if (!at) return session.fail(at.error());
    location = at->location;
  }
  auto items = std::make_shared<BlameItems>();
  qrb::Error error = session.perform("Asking who wrote which line", [&](Session::Done done) {
    return found->workingCopy->blameFile(*path, location, [items, done](BlameItems answer, qrb::Error failure) {
      *items = std::move(answer);
      done(std::move(failure));
    });
  });
  if (error) return session.fail(error);
  std::sort(items->begin(), items->end(),
            [](const auto& a, const auto& b) { return a->lineRange().location < b->lineRange().location; });
  if (session.json()) {
    printJSON(session.output(), *items);
  } else {
    printPlain(session.output(), *items);
  }
  return ExitStatus::success;
}

Command::Run declareBlame(CommandDeclaration& command) {
  auto options = std::make_shared<BlameOptions>();
  addDirectoryOption(command, options->folder);
  command.argument("FILE", options->file, "The file").file().required();
  command.argument("REVISION", options->place, "As it was at that branch, tag or revision (default: as it is now)");
  return with(options, runBlame);
}

}  // namespace

extern const Command blameCommand{
    "blame", "Show which revision, and who, last changed which lines of a file",
    "Each line of the listing is a run of lines of the file, counted from 1, that came with one revision.\n\n"
    "Examples:\n"
    "  qrbscm blame src/main.c\n"
    "  qrbscm blame src/main.c v1.0\n"
    "  qrbscm blame --json src/main.c | jq '.[] | select(.revision == null)'\n",
    declareBlame};

}  // namespace host
