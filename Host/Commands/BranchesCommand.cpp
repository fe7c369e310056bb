#include "Command.h"
#include "QRBSourceControlBranch.h"
#include "QRBSourceControlCancellable.h"
#include "QRBSourceControlRepository.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlWorkingCopy.h"
#include "Text.h"
#include "WorkingCopyFinder.h"

namespace host {

namespace {

struct Answers {
  std::vector<QRBSourceControlBranchPtr> branches;
  QRBSourceControlRevisionLocationPtr location;
};

void printJSON(Output& output, const Answers& answers) {
  JSONArray array(output);
  for (const QRBSourceControlBranchPtr& branch : answers.branches) {
    JSONValue entry;
    entry["name"] = branch->name().view();
    entry["current"] = branch->isSimilar(answers.location);
    entry["primary"] = branch->isPrimaryBranch();
    if (branch->revision()) entry["revision"] = branch->revision()->identifier().view();
    if (branch->remoteName()) entry["remote"] = branch->remoteName().view();
    array.add(entry);
  }
  array.finish();
}

void printPlain(Output& output, const Answers& answers) {
  for (const QRBSourceControlBranchPtr& branch : answers.branches) {
    bool isCurrent = branch->isSimilar(answers.location);
    output.write(isCurrent ? "* " : "  ");
    output.write(isCurrent ? Style::green : Style::plain, displayText(branch->name().view()));
    if (branch->isPrimaryBranch()) output.write(Style::dim, "  (primary)");
    output.write("\n");
  }
}

ExitStatus runBranches(Session& session, const std::string& path) {
  FoundWorkingCopy found = findWorkingCopy(session, path);
  if (found.error) return session.fail(found.error);
  auto answers = std::make_shared<Answers>();
  auto listBranches = [&](Session::Done done) {
    return found.workingCopy->repository()->listBranchesWithCompletionBlock(
        [answers, done](auto branches, qrb::Error error) {
          answers->branches = std::move(branches);
          done(std::move(error));
        });
  };
  auto askLocation = [&](Session::Done done) {
    return found.workingCopy->currentLocationWithCompletionBlock([answers, done](auto location, qrb::Error error) {
      answers->location = std::move(location);
      done(std::move(error));
    });
  };
  for (const qrb::Error& error : session.perform("Listing branches", {listBranches, askLocation})) {
    if (error) return session.fail(error);
  }
  if (session.json()) {
    printJSON(session.output(), *answers);
  } else {
    printPlain(session.output(), *answers);
  }
  return ExitStatus::success;
}

Command::Run declareBranches(CLI::App& app) {
  return [path = addPathArgument(app)](Session& session) { return runBranches(session, *path); };
}

}  // namespace

extern const Command branchesCommand{"branches", "List the branches of a repository and mark the current one",
                                     "Examples:\n"
                                     "  qrbscm branches\n"
                                     "  qrbscm branches --json ~/orchard\n",
                                     declareBranches};

}  // namespace host
