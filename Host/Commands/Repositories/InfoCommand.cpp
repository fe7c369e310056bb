#include "Command.h"
#include "LocationPrinting.h"
#include "QRBSourceControlCancellable.h"
#include "QRBSourceControlRepository.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlSystem.h"
#include "QRBSourceControlWorkingCopy.h"
#include "Text.h"
#include "WorkingCopyFinder.h"

namespace host {

namespace {

struct Answers {
  QRBSourceControlRevisionLocationPtr location;
  QRBSourceControlRevisionPtr revision;
};

void printJSON(Output& output, const FoundWorkingCopy& found, const Answers& answers) {
  auto repository = found.workingCopy->repository();
  auto system = repository->sourceControlSystem();
  JSONValue entry;
  setPath(entry, "path", found.root);
  entry["system"] = system->name().view();
  entry["systemVersion"] = system->version().view();
  entry["location"] = jsonOfLocation(answers.location);
  entry["revision"] = answers.revision ? JSONValue(answers.revision->identifier().view()) : JSONValue();
  qrb::String identifier = repository->identifier();
  entry["repositoryIdentifier"] = identifier ? JSONValue(identifier.view()) : JSONValue();
  JSONArray array(output);
  array.add(entry);
  array.finish();
}

void printPlain(Output& output, const FoundWorkingCopy& found, const Answers& answers) {
  auto line = [&](std::string_view label, const std::string& text) {
    output.write(Style::dim, label);
    output.write(text + "\n");
  };
  auto repository = found.workingCopy->repository();
  auto system = repository->sourceControlSystem();
  line("Working copy  ", displayPath(found.root));
  line("System        ", displayText(system->name().str() + " " + system->version().str()));
  if (answers.location) {
    line("Location      ", describedLocation(answers.location, false));
  }
  line("Revision      ", answers.revision ? displayText(answers.revision->identifier().view()) : "none yet");
  if (repository->identifier()) line("Repository    ", displayText(repository->identifier().view()));
}

ExitStatus runInfo(Session& session, const std::string& path) {
  session.endUnread();
  auto found = findWorkingCopy(session, path);
  if (!found) return session.fail(found.error());
  auto answers = std::make_shared<Answers>();
  auto askLocation = [&](Session::Done done) {
    return found->workingCopy->currentLocationWithCompletionBlock([answers, done](auto location, qrb::Error error) {
      answers->location = std::move(location);
      done(std::move(error));
    });
  };
  auto askRevision = [&](Session::Done done) {
    return found->workingCopy->baseRevisionWithCompletionBlock([answers, done](auto revision, qrb::Error error) {
      answers->revision = std::move(revision);
      done(std::move(error));
    });
  };
  auto askIdentifier = [&](Session::Done done) {
    return found->workingCopy->updateRepositoryIdentifierWithCompletionBlock(done);
  };
  for (const qrb::Error& error :
       session.perform("Asking for the location", {askLocation, askRevision, askIdentifier})) {
    if (error && !isWithoutHistory(error)) return session.fail(error);
  }
  if (session.json()) {
    printJSON(session.output(), *found, *answers);
  } else {
    printPlain(session.output(), *found, *answers);
  }
  return ExitStatus::success;
}

Command::Run declareInfo(CommandDeclaration& command) {
  auto path = std::make_shared<std::string>();
  addPathArgument(command, *path);
  return with(path, runInfo);
}

}  // namespace

extern const Command infoCommand{"info", "Show where a working copy is: its root, system, branch and revision",
                                 "Examples:\n"
                                 "  qrbscm info\n"
                                 "  qrbscm info --json ~/orchard\n",
                                 declareInfo};

}  // namespace host
