#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "Editor.h"
#include "FileRequest.h"
#include "FileSystem.h"
#include "HostError.h"
#include "QRBSourceControlCancellable.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlStatusValues.h"
#include "Text.h"

namespace host {

namespace {

constexpr std::uint64_t kTracked = QRBSourceControlStatusModified | QRBSourceControlStatusDeleted |
                                   QRBSourceControlStatusTypeChanged | QRBSourceControlStatusMissing;

struct CommitOptions {
  FileArguments files;
  std::vector<std::string> paragraphs;
  std::string messageFile;
};

qrb::Result<std::string> readMessage(const std::string& file) {
  bool isInput = file == "-";
  // A shell may give a pipe in place of a file.
  auto text = isInput ? qrb::readToEnd(STDIN_FILENO, qrb::anySize)
                      : qrb::readFile(file, qrb::anySize, qrb::ReadableKind::anything);
  if (!text && isInput) return hostError("Standard input cannot be read.", {}, errno);
  if (!text) return hostError("\"" + file + "\" cannot be read.", "Name a file that holds the message.", errno);
  return *std::move(text);
}

std::string joined(const std::vector<std::string>& paragraphs) {
  std::string message;
  for (const std::string& paragraph : paragraphs) message += (message.empty() ? "" : "\n") + paragraph + "\n";
  return message;
}

void addLine(std::string& text, const qrb::String& path) {
  text += "#   " + displayPath(path.view()) + "\n";
}

// What will be committed, for the user to see while he describes it.
qrb::Result<std::string> listChanges(Session& session, const FoundFiles& found) {
  std::string text;
  for (const qrb::String& path : found.paths) addLine(text, path);
  if (!found.paths.empty()) return text;
  auto listed = std::make_shared<QRBSourceControlPathStatusesPtr>();
  qrb::Error error = session.perform("Looking for changes", [&](Session::Done done) {
    return found.place.workingCopy->filesAndStatusWithRemoteStatus(
        false, [listed, done](auto local, auto, qrb::Error failure) {
          *listed = std::move(local);
          done(std::move(failure));
        });
  });
  if (error) return error;
  auto hasAny = [](std::uint64_t bits) { return [bits](const auto& entry) { return (entry.second & bits) != 0; }; };
  bool isStaged = std::any_of((*listed)->begin(), (*listed)->end(), hasAny(QRBSourceControlStatusStagedMask));
  for (const auto& entry : **listed) {
    if (hasAny(isStaged ? QRBSourceControlStatusStagedMask : kTracked)(entry)) addLine(text, entry.first);
  }
  return text;
}

qrb::Result<std::string> editMessage(Session& session, const FoundFiles& found) {
  if (::isatty(STDIN_FILENO) == 0 || !session.output().isTerminal()) {
    return hostError("There is no message.", "Give one with --message or --file.");
  }
  auto changes = listChanges(session, found);
  if (!changes) return changes.error();
  auto edited = editText(
      "\n# Describe the changes. Lines that begin with \"#\" are left out; an empty message commits nothing.\n"
      "#\n# To be committed:\n" +
      *changes);
  if (!edited) return edited.error();
  return editedMessage(*edited);
}

qrb::Result<std::string> obtainMessage(Session& session, const CommitOptions& options, const FoundFiles& found) {
  qrb::Result<std::string> message = !options.paragraphs.empty()    ? joined(options.paragraphs)
                                     : !options.messageFile.empty() ? readMessage(options.messageFile)
                                                                    : editMessage(session, found);
  bool isBlank = message && message->find_first_not_of(" \t\r\n") == std::string::npos;
  if (isBlank) return hostError("The message is empty, so nothing was committed.", "Say what was changed, and why.");
  return message;
}

void print(Session& session, const QRBSourceControlRevisionPtr& revision, const std::string& message) {
  std::string_view identifier = revision == nullptr ? std::string_view() : revision->identifier().view();
  std::string title = message.substr(std::min(message.size(), message.find_first_not_of(" \t\r\n")));
  title = title.substr(0, title.find('\n'));
  if (session.json()) {
    JSONArray array(session.output());
    JSONValue entry;
    entry["revision"] = identifier;
    entry["message"] = message;
    array.add(entry);
    array.finish();
    return;
  }
  session.output().write(Style::yellow, displayText(identifier));
  session.output().write("  " + displayText(title) + "\n");
}

ExitStatus runCommit(Session& session, const CommitOptions& options) {
  auto found = findFiles(session, options.files);
  if (!found) return session.fail(found.error());
  auto message = obtainMessage(session, options, *found);
  if (!message) return session.fail(message.error());
  session.showPlugInMessages();
  auto revision = std::make_shared<QRBSourceControlRevisionPtr>();
  qrb::Error error = session.perform("Committing", [&](Session::Done done) {
    return found->place.workingCopy->commitFiles(found->paths, *message,
                                                 [revision, done](auto made, qrb::Error failure) {
                                                   *revision = std::move(made);
                                                   done(std::move(failure));
                                                 });
  });
  if (error) return session.fail(error);
  print(session, *revision, *message);
  return ExitStatus::success;
}

Command::Run declareCommit(CommandDeclaration& command) {
  auto options = std::make_shared<CommitOptions>();
  addFileArguments(command, options->files, "Files or folders to commit");
  auto& message =
      command.option("-m,--message", options->paragraphs, "The message; each further one is a paragraph").text("TEXT");
  command.option("-F,--file", options->messageFile, "Read the message from that file; \"-\" is standard input")
      .file("FILE")
      .excludes(message);
  return with(options, runCommit);
}

}  // namespace

extern const Command commitCommand{"commit", "Commit changes",
                                   "Files that are named are committed as they are on disk, and nothing else with "
                                   "them, whatever is staged. Without -m\n"
                                   "and -F the message is written in the editor that VISUAL or EDITOR names. What the "
                                   "repository's hooks have to say is\n"
                                   "shown on standard error.\n\n"
                                   "Examples:\n"
                                   "  qrbscm commit -m 'water the trees'\n"
                                   "  qrbscm commit -m 'fix' src/main.c\n"
                                   "  ./describe-changes | qrbscm commit -F -\n",
                                   declareCommit};

}  // namespace host
