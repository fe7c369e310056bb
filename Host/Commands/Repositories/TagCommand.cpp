#include "Command.h"
#include "QRBSourceControlCancellable.h"
#include "QRBSourceControlManager.h"
#include "QRBSourceControlRepository.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlTag.h"
#include "QRBSourceControlWorkingCopy.h"
#include "Text.h"
#include "WorkingCopyFinder.h"

namespace host {

namespace {

struct TagOptions {
  std::string folder;
  std::vector<std::string> names;
};

using Tags = std::vector<QRBSourceControlTagPtr>;

/// What a tag of something else than a revision stands for is not told.
void print(Session& session, const Tags& tags) {
  JSONArray array(session.output());
  for (const QRBSourceControlTagPtr& tag : tags) {
    std::string_view name = tag->name().view();
    std::string_view revision = tag->revision() ? tag->revision()->identifier().view() : std::string_view();
    if (session.json()) {
      JSONValue entry;
      setPath(entry, "name", name);
      entry["revision"] = revision.empty() ? JSONValue() : JSONValue(revision);
      array.add(entry);
    } else {
      session.output().write(Style::yellow, revision.empty() ? "(no revision)" : displayText(revision));
      session.output().write("  " + displayText(name) + "\n");
    }
  }
  if (session.json()) array.finish();
}

QRBSourceControlTagPtr pinned(const QRBSourceControlTagPtr& tag, QRBSourceControlRevisionPtr revision) {
  return std::static_pointer_cast<const QRBSourceControlTag>(tag->locationWithRevision(std::move(revision)));
}

ExitStatus listAll(Session& session, const QRBSourceControlRepositoryPtr& repository) {
  session.endUnread();
  auto tags = std::make_shared<Tags>();
  qrb::Error error = session.perform("Listing the tags", [&](Session::Done done) {
    return QRBSourceControlManager::sharedInstance()->listTagsOfRepository(
        repository, nullptr, [tags, done](auto listed, qrb::Error failure) {
          *tags = std::move(listed);
          done(std::move(failure));
        });
  });
  if (error) return session.fail(error);
  print(session, *tags);
  return ExitStatus::success;
}

ExitStatus runTag(Session& session, const TagOptions& options) {
  auto found = findWorkingCopy(session, options.folder);
  if (!found) return session.fail(found.error());
  if (options.names.empty()) return listAll(session, found->workingCopy->repository());
  auto tags = std::make_shared<Tags>(options.names.size());
  std::vector<Session::Start> starts;
  for (std::size_t index = 0; index < options.names.size(); ++index) {
    auto tag = QRBSourceControlTag::initWithTagName(options.names[index]);
    starts.push_back([=](Session::Done done) {
      auto onReply = [=](auto revision, qrb::Error error) {
        if (!error) (*tags)[index] = pinned(tag, std::move(revision));
        done(std::move(error));
      };
      return found->workingCopy->repository()->revisionOfLocation(tag, nullptr, onReply);
    });
  }
  for (const qrb::Error& error : session.perform("Looking for tags", starts)) {
    if (error) return session.fail(error);
  }
  print(session, *tags);
  return ExitStatus::success;
}

Command::Run declareTag(CommandDeclaration& command) {
  auto options = std::make_shared<TagOptions>();
  addDirectoryOption(command, options->folder);
  command.argument("NAME", options->names, "Tags; all, unless some are named").text("...");
  command.checkUsage([options] {
    bool hasEmpty = std::find(options->names.begin(), options->names.end(), "") != options->names.end();
    return hasEmpty ? "a tag has a name" : "";
  });
  return with(options, runTag);
}

}  // namespace

extern const Command tagCommand{"tag", "Show which revisions tags stand for",
                                "Without a name all tags are listed. A tag can stand wherever a command takes a "
                                "revision. Plug-ins cannot be asked to\n"
                                "make or remove one: use the system's own tool for that.\n\n"
                                "Examples:\n"
                                "  qrbscm tag\n"
                                "  qrbscm tag v1.0\n"
                                "  qrbscm tag --json v1.0 v1.1\n"
                                "  qrbscm switch v1.0\n",
                                declareTag};

}  // namespace host
