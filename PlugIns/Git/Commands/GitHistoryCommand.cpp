#include "GitCommands.h"
#include "GitLogParser.h"
#include "QRBSourceControlHistoryTypes.h"

namespace {

/// A pattern that finds the text itself anywhere in a path.
std::string pathPattern(std::string_view text) {
  std::string pattern = ":(top,icase)*";
  for (char byte : text) {
    if (byte == '*' || byte == '?' || byte == '[' || byte == ']' || byte == '\\') pattern.push_back('\\');
    pattern.push_back(byte);
  }
  pattern.push_back('*');
  return pattern;
}

/// Builds one history command; each step adds the arguments of one side of the request.
class Builder {
 public:
  explicit Builder(const GitHistoryRequest& request) : _request(request) {
    _searchType = request.searchString.empty() ? noSearch : request.searchType;
    if (_searchType == QRBSourceControlHistorySearchDefault) _searchType = QRBSourceControlHistorySearchMessage;
    bool follows = !request.file.empty() && !has(QRBSourceControlHistoryWithoutFollowingRenames);
    _command.filterAfterwards = _searchType != noSearch && (follows || searchesPathsOfFile());
  }

  GitHistoryCommand build() {
    if (!check()) return _command;
    start();
    addFields();
    addSearch();
    addRange();
    addPaths();
    return _command;
  }

 private:
  static constexpr std::uint64_t noSearch = ~std::uint64_t{0};

  bool has(std::uint64_t bit) const { return (_request.inclusionType & bit) != 0; }
  /// Git takes one set of paths, and the file is it.
  bool searchesPathsOfFile() const {
    return !_request.file.empty() &&
           (_searchType == QRBSourceControlHistorySearchPath || _searchType == QRBSourceControlHistorySearchRevision);
  }
  bool searches(std::uint64_t type) const { return _searchType == type && !_command.filterAfterwards; }
  void add(std::string_view argument) { _command.arguments.emplace_back(argument); }

  bool check() {
    auto refuse = [this](std::string_view kind, std::string_view name) {
      _command.refusal = GitCommand::refusalOf(kind, name);
      return false;
    };
    if (!_request.from.empty() && !gitIsPlainRevision(_request.from)) return refuse("revision", _request.from);
    if (!_request.to.empty() && !gitIsPlainRevision(_request.to)) return refuse("revision", _request.to);
    if (_request.file.find('\0') != std::string::npos) return refuse("path", _request.file);
    if (_searchType == noSearch) return true;
    if (_request.searchString.find('\0') != std::string::npos) return refuse("search", _request.searchString);
    if (searches(QRBSourceControlHistorySearchRevision) && !gitIsPlainRevision(_request.searchString)) {
      return refuse("revision", _request.searchString);
    }
    return true;
  }

  void start() {
    for (std::string_view argument : gitCommonArguments()) add(argument);
    if (!searches(QRBSourceControlHistorySearchPath)) add("--literal-pathspecs");
    add("log");
    add("-z");
    add("--no-show-signature");
    // Searches find a record now and then, which must not wait for a block to fill.
    bool isPlain = _searchType == noSearch && _request.file.empty();
    _command.output = isPlain ? GitOutput::blocks : GitOutput::prompt;
  }

  void addFields() {
    bool filters = _command.filterAfterwards;
    bool message =
        !has(QRBSourceControlHistoryWithoutMessage) || (filters && _searchType == QRBSourceControlHistorySearchMessage);
    bool paths = !has(QRBSourceControlHistoryWithoutMessage | QRBSourceControlHistoryWithoutPaths) ||
                 (filters && _searchType == QRBSourceControlHistorySearchPath);
    add(message ? gitLogFormat : gitLogFormatWithoutMessage);
    if (has(QRBSourceControlHistoryFirstParentOnly)) add("--first-parent");
    if (has(QRBSourceControlHistoryWithoutMerges)) add("--no-merges");
    if (paths) {
      add("--name-status");
      add("-M");
      add("--no-relative");
      add(has(QRBSourceControlHistoryFirstParentOnly) ? "--diff-merges=first-parent" : "--diff-merges=off");
    }
    if (_request.maximum > 0 && !filters) add("--max-count=" + std::to_string(_request.maximum));
  }

  void addSearch() {
    if (searches(QRBSourceControlHistorySearchMessage)) {
      add("--grep=" + _request.searchString);
    } else if (searches(QRBSourceControlHistorySearchAuthor)) {
      add("--author=" + _request.searchString);
    } else {
      return;
    }
    add("--regexp-ignore-case");
    add("--fixed-strings");
  }

  void addRange() {
    if (searches(QRBSourceControlHistorySearchRevision)) {
      add("--no-walk=unsorted");
      add("--end-of-options");
      add(_request.searchString + "^{commit}");
      return;
    }
    bool isCurrent = _request.from.empty() || _request.from == "HEAD" || _request.from == "BASE";
    if (has(QRBSourceControlHistoryAllBranches)) add("--all");
    add("--end-of-options");
    // All branches take HEAD in, and do not fail where it names no commit yet.
    if (!isCurrent) {
      add(_request.from);
    } else if (!has(QRBSourceControlHistoryAllBranches)) {
      add("HEAD");
    }
    if (_request.to.empty() || _request.to == "INITIAL") return;
    add("^" + (_request.to == "BASE" ? std::string("HEAD") : _request.to));
  }

  void addPaths() {
    if (!_request.file.empty()) {
      if (!has(QRBSourceControlHistoryWithoutFollowingRenames)) insertOption("--follow");
      add("--");
      add(_request.file);
    } else if (searches(QRBSourceControlHistorySearchPath)) {
      // Without it an item found would list only the paths that match.
      insertOption("--full-diff");
      add("--");
      add(pathPattern(_request.searchString));
    } else {
      add("--");
    }
  }

  void insertOption(std::string_view option) {
    auto place = _command.arguments.begin();
    while (*place != "-z") ++place;
    _command.arguments.emplace(place, option);
  }

  const GitHistoryRequest& _request;
  std::uint64_t _searchType;
  GitHistoryCommand _command;
};

}  // namespace

GitHistoryCommand gitHistoryCommand(const GitHistoryRequest& request) {
  return Builder(request).build();
}
