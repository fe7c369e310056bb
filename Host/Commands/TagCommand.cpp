#include "Command.h"
#include "QRBSourceControlCancellable.h"
#include "QRBSourceControlRepository.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlTag.h"
#include "QRBSourceControlWorkingCopy.h"
#include "Text.h"
#include "WorkingCopyFinder.h"

namespace host {

namespace {

struct TagOptions {
  std::shared_ptr<std::string> folder;
  std::vector<std::string> names;
};

using Revisions = std::vector<QRBSourceControlRevisionPtr>;

void print(Session& session, const std::vector<std::string>& names, const Revisions& revisions) {
  JSONArray array(session.output());
  for (std::size_t index = 0; index < names.size(); ++index) {
    std::string_view revision = revisions[index]->identifier().view();
    if (session.json()) {
      JSONValue entry;
      setPath(entry, "name", names[index]);
      entry["revision"] = revision;
      array.add(entry);
    } else {
      session.output().write(Style::yellow, displayText(revision));
      session.output().write("  " + displayText(names[index]) + "\n");
    }
  }
  if (session.json()) array.finish();
}

ExitStatus runTag(Session& session, const TagOptions& options) {
  FoundWorkingCopy found = findWorkingCopy(session, *options.folder);
  if (found.error) return session.fail(found.error);
  auto revisions = std::make_shared<Revisions>(options.names.size());
  std::vector<Session::Start> starts;
  for (std::size_t index = 0; index < options.names.size(); ++index) {
    auto tag = QRBSourceControlTag::initWithTagName(options.names[index]);
    starts.push_back([=](Session::Done done) {
      auto onReply = [=](auto revision, qrb::Error error) {
        (*revisions)[index] = std::move(revision);
        done(std::move(error));
      };
      return found.workingCopy->repository()->revisionOfLocation(tag, nullptr, onReply);
    });
  }
  for (const qrb::Error& error : session.perform("Looking for tags", starts)) {
    if (error) return session.fail(error);
  }
  print(session, options.names, *revisions);
  return ExitStatus::success;
}

Command::Run declareTag(CLI::App& app) {
  auto options = std::make_shared<TagOptions>();
  options->folder = addDirectoryOption(app);
  app.add_option("NAME", options->names, "Tags")->type_name("...")->required();
  checkUsage(app, [options] {
    bool hasEmpty = std::find(options->names.begin(), options->names.end(), "") != options->names.end();
    return hasEmpty ? "a tag has a name" : "";
  });
  return [options](Session& session) { return runTag(session, *options); };
}

}  // namespace

extern const Command tagCommand{"tag", "Show which revisions tags stand for",
                                "Tags can be looked up by name, here and wherever a command takes a revision. Plug-ins "
                                "cannot be asked for a list of\n"
                                "tags, nor to make or remove one: use the system's own tool for that.\n\n"
                                "Examples:\n"
                                "  qrbscm tag v1.0\n"
                                "  qrbscm tag --json v1.0 v1.1\n"
                                "  qrbscm switch v1.0\n",
                                declareTag};

}  // namespace host
