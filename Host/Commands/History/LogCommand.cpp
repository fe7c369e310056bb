#include <filesystem>
#include <mutex>
#include <unordered_map>

#include "Command.h"
#include "FilePaths.h"
#include "HistoryOptions.h"
#include "LogItemPrinting.h"
#include "QRBSourceControlAuthor.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlHistoryTypes.h"
#include "QRBSourceControlLogItem.h"
#include "QRBSourceControlManager.h"
#include "QRBSourceControlVCardAddressBook.h"
#include "QRBSourceControlWorkingCopy.h"
#include "Text.h"
#include "WorkingCopyFinder.h"

namespace host {

namespace {

namespace fs = std::filesystem;
using LogItems = std::vector<QRBSourceControlLogItemPtr>;

struct LogOptions {
  std::string path;
  HistoryOptions history;
  std::string file;
  std::string addressBook;
};

/// The people that authors are shown as, where the user has an address book.
class People {
 public:
  qrb::Error read(const std::string& folder) {
    _addressBook = QRBSourceControlVCardAddressBook::initWithFolderURL(qrb::URL::fileURL(folder, true));
    QRBSourceControlAddressBook::registerAddressBook(_addressBook);
    return _addressBook->reload();
  }
  std::vector<std::string> problems() const {
    return _addressBook == nullptr ? std::vector<std::string>() : _addressBook->problems();
  }
  /// The address that the system knows the author by, as his person's may be another. Pairs the author, who comes with
  /// many items, when he is first met.
  qrb::String emailOf(const QRBSourceControlAuthorPtr& author) {
    auto firstEmail = [&] {
      auto emails = author->emails();
      return emails.empty() ? qrb::String() : emails.front();
    };
    if (_addressBook == nullptr) return firstEmail();
    auto [place, isNew] = _emails.try_emplace(author);
    if (isNew) {
      place->second = firstEmail();
      _addressBook->pairAuthor(author);
    }
    return place->second;
  }

 private:
  QRBSourceControlVCardAddressBookPtr _addressBook;
  std::unordered_map<QRBSourceControlAuthorPtr, qrb::String> _emails;
};

/// Prints items as they come, each once, whatever comes first: a batch or the reply that repeats them all.
class LogPrinter {
 public:
  LogPrinter(Session& session, bool paths, People people)
      : _output(session.output()), _array(_output), _paths(paths), _people(std::move(people)) {
    _asJSON = session.json();
  }

  /// On the reply thread.
  void addBatch(const LogItems& items) {
    std::lock_guard lock(_mutex);
    if (_closed) return;
    for (const QRBSourceControlLogItemPtr& item : items) print(*item);
    _output.flush();
  }

  /// Takes the reply, which is all that the batches brought and more: prints what no batch brought.
  void addReply(const LogItems& items) {
    std::lock_guard lock(_mutex);
    if (_closed) return;
    for (std::size_t index = _count; index < items.size(); ++index) print(*items[index]);
  }

  /// No more is printed; returns how many items were.
  std::size_t close(bool complete) {
    std::lock_guard lock(_mutex);
    _closed = true;
    if (_asJSON && complete) _array.finish();
    if (_asJSON && !complete) _array.finishIfBegun();
    return _count;
  }

 private:
  void print(const QRBSourceControlLogItem& item);

  Output& _output;
  JSONArray _array;
  bool _asJSON = false;
  bool _paths;
  People _people;
  std::mutex _mutex;
  bool _closed = false;
  std::size_t _count = 0;
};

void LogPrinter::print(const QRBSourceControlLogItem& item) {
  qrb::String email = item.author() ? _people.emailOf(item.author()) : qrb::String();
  ++_count;
  if (_asJSON) return _array.add(jsonOfLogItem(item, email));
  if (_count > 1) _output.write("\n");
  writeLogItem(_output, item, _paths);
}

struct Query {
  QRBSourceControlWorkingCopyPtr workingCopy;
  std::string file;
  std::uint64_t inclusionType = QRBSourceControlHistoryIncludeAll;
  std::int64_t maximum = 0;
  qrb::String searchText;
  std::uint64_t searchType = QRBSourceControlHistorySearchDefault;
};

qrb::Error ask(Session& session, const Query& query, const std::shared_ptr<LogPrinter>& printer) {
  return session.perform("Reading the history", [&](Session::Done done) -> QRBSourceControlCancellablePtr {
    auto onBatch = [printer, &session](const LogItems& items, double fraction) {
      session.progress().update({}, fraction);
      printer->addBatch(items);
    };
    auto onReply = [printer, done](const LogItems& items, qrb::Error error) {
      if (!error) printer->addReply(items);
      done(std::move(error));
    };
    const auto& manager = QRBSourceControlManager::sharedInstance();
    if (query.file.empty()) {
      return manager->historyOfWorkingCopy(query.workingCopy, nullptr, nullptr, query.inclusionType, query.maximum,
                                           query.searchText, query.searchType, onBatch, onReply);
    }
    return manager->historyOfFile(query.file, query.workingCopy, nullptr, nullptr, query.inclusionType, query.maximum,
                                  query.searchText, query.searchType, onBatch, onReply);
  });
}

ExitStatus runLog(Session& session, const LogOptions& options) {
  session.endUnread();
  auto found = findWorkingCopy(session, options.path);
  if (!found) return session.fail(found.error());
  Query query;
  query.workingCopy = found->workingCopy;
  if (!options.file.empty()) {
    auto path = pathInWorkingCopy(options.file, options.path, found->root);
    if (!path) return session.fail(path.error());
    if (*path != ".") query.file = *std::move(path);
  }
  bool isForPeople = session.output().isTerminal() && !session.json();
  query.maximum = options.history.maximum(isForPeople);
  query.inclusionType = options.history.inclusionType(session.json());
  query.searchText = options.history.search();
  query.searchType = options.history.searchType();
  People people;
  if (!options.addressBook.empty()) {
    if (qrb::Error error = people.read(fs::absolute(options.addressBook).native())) return session.fail(error);
    for (const std::string& problem : people.problems()) session.note("address book: " + displayText(problem));
  }
  auto printer = std::make_shared<LogPrinter>(session, options.history.paths, std::move(people));
  qrb::Error error = ask(session, query, printer);
  std::size_t count = printer->close(!error);
  if (error) return session.fail(error);
  // An empty history of a file says less than that there is no such file, which is what a misspelt name means.
  if (count == 0 && !query.file.empty() && query.searchText.empty()) {
    return session.fail(QRBSourceControlError_LocationNotFound(QRBSourceControlErrorCode::pathNotFound, options.file,
                                                               "no entry of the history names it"));
  }
  if (isForPeople && !options.history.wanted && count == static_cast<std::size_t>(query.maximum)) {
    session.note("These are the newest " + std::to_string(count) + "; -n 0 shows all.");
  }
  return ExitStatus::success;
}

Command::Run declareLog(CommandDeclaration& command) {
  auto options = std::make_shared<LogOptions>();
  addHistoryOptions(command, options->history);
  command.option("--file", options->file, "Show the history of one file, across its renames; relative to PATH")
      .file("FILE");
  command
      .option("--address-book", options->addressBook,
              "Show authors by the names that a folder of vCard files (*.vcf) has for their e-mail addresses")
      .folder("DIR");
  addPathArgument(command, options->path);
  return with(options, runLog);
}

}  // namespace

extern const Command logCommand{
    "log", "Show the history of a working copy or of one of its files, newest first",
    "Entries are printed as they are found. Searches do not distinguish upper and lower case; --search and --author\n"
    "cannot be combined.\n\n"
    "Examples:\n"
    "  qrbscm log -n 5 --paths         the newest five, with what they changed\n"
    "  qrbscm log --file src/main.c    the history of one file\n"
    "  qrbscm log --search 'fix' ~/orchard\n"
    "  qrbscm log --json | jq '.[].revision'\n",
    declareLog};

}  // namespace host
