#include <charconv>
#include <filesystem>
#include <mutex>
#include <optional>
#include <unordered_map>

#include "Command.h"
#include "QRBSourceControlAuthor.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlHistoryTypes.h"
#include "QRBSourceControlLogItem.h"
#include "QRBSourceControlManager.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlRevisionLocation.h"
#include "QRBSourceControlStatusValues.h"
#include "QRBSourceControlVCardAddressBook.h"
#include "QRBSourceControlWorkingCopy.h"
#include "Text.h"
#include "WorkingCopyFinder.h"

namespace host {

namespace {

namespace fs = std::filesystem;
using LogItems = std::vector<QRBSourceControlLogItemPtr>;

constexpr std::int64_t kTerminalMaximum = 30;

struct Options {
  std::shared_ptr<std::string> path;
  std::optional<std::int64_t> maximum;
  std::string searchText;
  std::string author;
  std::string file;
  std::string addressBook;
  bool paths = false;
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

  /// The reply: prints what no batch brought. Of the batches it is the whole.
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
  void print(const QRBSourceControlLogItem& item) {
    ++_count;
    if (_asJSON) {
      printJSON(item);
    } else {
      printPlain(item);
    }
  }
  void printJSON(const QRBSourceControlLogItem& item);
  void printPlain(const QRBSourceControlLogItem& item);

  Output& _output;
  JSONArray _array;
  bool _asJSON = false;
  bool _paths;
  People _people;
  std::mutex _mutex;
  bool _closed = false;
  std::size_t _count = 0;
};

void LogPrinter::printJSON(const QRBSourceControlLogItem& item) {
  JSONValue entry;
  qrb::String email = item.author() ? _people.emailOf(item.author()) : qrb::String();
  entry["revision"] = item.revision() ? item.revision()->identifier().view() : "";
  entry["author"] = item.author() ? item.author()->displayName().view() : "";
  if (email) entry["email"] = email.view();
  entry["date"] = isoDate(item.date());
  entry["message"] = item.message().view();
  JSONValue paths = JSONValue::array();
  if (item.pathsWithStatus()) {
    for (const auto& [path, status] : *item.pathsWithStatus()) {
      JSONValue& element = paths.emplace_back(JSONValue::object());
      setPath(element, "path", path.view());
      element["status"] = QRBSourceControlStatusWords(status);
    }
  }
  entry["paths"] = std::move(paths);
  if (item.fileRenames() && !item.fileRenames()->empty()) {
    JSONValue& renames = entry["renames"] = JSONValue::array();
    for (const auto& [from, to] : *item.fileRenames()) {
      JSONValue& element = renames.emplace_back(JSONValue::object());
      setPath(element, "from", from.view());
      setPath(element, "to", to.view());
    }
  }
  _array.add(entry);
}

void LogPrinter::printPlain(const QRBSourceControlLogItem& item) {
  if (_count > 1) _output.write("\n");
  if (item.revision()) _output.write(Style::yellow, displayText(item.revision()->identifier().view()));
  _output.write("  " + localDate(item.date()));
  if (item.author()) {
    _people.emailOf(item.author());
    _output.write("  ");
    _output.write(Style::bold, displayText(item.author()->displayName().view()));
  }
  _output.write("\n");
  std::string message = displayText(item.message().view());
  while (message.ends_with('\n')) message.pop_back();
  for (std::size_t start = 0; start < message.size();) {
    std::size_t end = std::min(message.find('\n', start), message.size());
    if (end > start) _output.write("    " + message.substr(start, end - start));
    _output.write("\n");
    start = end + 1;
  }
  if (!_paths || !item.pathsWithStatus()) return;
  for (const auto& [path, status] : *item.pathsWithStatus()) {
    std::string words;
    for (std::string_view word : QRBSourceControlStatusWords(status)) words += std::string(word) + " ";
    _output.write("  ");
    _output.write(Style::cyan, words);
    _output.write(displayPath(path.view()) + "\n");
  }
}

/// The file relative to the root of the working copy; absent with the reason where it lies outside.
std::optional<std::string> pathInWorkingCopy(const std::string& file, const std::string& folder,
                                             const std::string& root) {
  std::error_code failure;
  fs::path path = fs::canonical(folder.empty() ? "." : folder, failure) / file;
  // The file itself may be a link, or gone by now; the folders that lead to it are taken for what they are.
  fs::path parent = fs::weakly_canonical(path.lexically_normal().parent_path(), failure);
  fs::path relative = (parent / path.lexically_normal().filename()).lexically_relative(root);
  if (failure || relative.empty() || *relative.begin() == "..") return std::nullopt;
  std::string text = relative.native();
  while (text.ends_with('/')) text.pop_back();
  return text == "." ? "" : text;
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

ExitStatus runLog(Session& session, const Options& options) {
  FoundWorkingCopy found = findWorkingCopy(session, *options.path);
  if (found.error) return session.fail(found.error);
  Query query;
  query.workingCopy = found.workingCopy;
  if (!options.file.empty()) {
    auto file = pathInWorkingCopy(options.file, *options.path, found.root);
    if (!file) {
      return session.fail(QRBSourceControlError_LocationNotFound(QRBSourceControlErrorCode::pathNotFound, options.file,
                                                                 "not in the working copy " + found.root));
    }
    query.file = *file;
  }
  bool isForPeople = session.output().isTerminal() && !session.json();
  query.maximum = options.maximum.value_or(isForPeople ? kTerminalMaximum : 0);
  if (!session.json() && !options.paths) query.inclusionType |= QRBSourceControlHistoryWithoutPaths;
  if (!options.author.empty()) {
    query.searchText = options.author;
    query.searchType = QRBSourceControlHistorySearchAuthor;
  } else if (!options.searchText.empty()) {
    query.searchText = options.searchText;
    query.searchType = QRBSourceControlHistorySearchMessage;
  }
  People people;
  if (!options.addressBook.empty()) {
    if (qrb::Error error = people.read(fs::absolute(options.addressBook).native())) return session.fail(error);
    for (const std::string& problem : people.problems()) session.note("address book: " + displayText(problem));
  }
  auto printer = std::make_shared<LogPrinter>(session, options.paths, std::move(people));
  qrb::Error error = ask(session, query, printer);
  std::size_t count = printer->close(!error);
  if (error) return session.fail(error);
  // An empty history of a file says less than that there is no such file, which is what a misspelt name means.
  if (count == 0 && !query.file.empty() && query.searchText.empty()) {
    return session.fail(QRBSourceControlError_LocationNotFound(QRBSourceControlErrorCode::pathNotFound, options.file,
                                                               "no entry of the history names it"));
  }
  if (isForPeople && !options.maximum && count == static_cast<std::size_t>(query.maximum)) {
    session.note("These are the newest " + std::to_string(count) + "; -n 0 shows all.");
  }
  return ExitStatus::success;
}

// For the parser: what is wrong, or nothing.
std::string refuseNegative(const std::string& number) {
  std::int64_t value = -1;
  const char* end = number.data() + number.size();
  auto result = std::from_chars(number.data(), end, value);
  if (result.ec == std::errc() && result.ptr == end && value >= 0) return {};
  return "\"" + number + "\" is not a number of entries: 0 or more are";
}

Command::Run declareLog(CLI::App& app) {
  auto options = std::make_shared<Options>();
  app.add_option("-n,--max-count", options->maximum,
                 "Show at most so many entries; 0 shows all. Default: 30 on a terminal, else all")
      ->type_name("N")
      ->check(CLI::Validator(refuseNegative, ""));
  auto* search = app.add_option("--search", options->searchText, "Show entries whose message contains the text")
                     ->type_name("TEXT");
  app.add_option("--author", options->author, "Show entries whose author's name or e-mail address contains the text")
      ->type_name("TEXT")
      ->excludes(search);
  app.add_option("--file", options->file, "Show the history of one file, across its renames; relative to PATH")
      ->type_name("FILE");
  app.add_option("--address-book", options->addressBook,
                 "Show authors by the names that a folder of vCard files (*.vcf) has for their e-mail addresses")
      ->type_name("DIR");
  app.add_flag("--paths", options->paths, "Show also what each entry did to which path (always with --json)");
  options->path = addPathArgument(app);
  return [options](Session& session) { return runLog(session, *options); };
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
