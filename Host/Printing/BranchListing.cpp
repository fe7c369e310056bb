#include "BranchListing.h"

#include "QRBSourceControlBranch.h"
#include "QRBSourceControlCancellable.h"
#include "QRBSourceControlRepository.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlSystem.h"
#include "QRBSourceControlWorkingCopy.h"
#include "Text.h"

namespace host {

namespace {

struct Answers {
  std::vector<QRBSourceControlBranchPtr> branches;
  std::vector<QRBSourceControlBranchPtr> remoteBranches;
  QRBSourceControlRevisionLocationPtr location;
};

std::vector<Session::Start> requests(const QRBSourceControlWorkingCopyPtr& workingCopy, BranchListing listing,
                                     const std::shared_ptr<Answers>& answers) {
  auto repository = workingCopy->repository();
  std::vector<Session::Start> starts;
  if (listing.local) {
    starts.emplace_back([=](Session::Done done) {
      return repository->listBranchesWithCompletionBlock([answers, done](auto branches, qrb::Error error) {
        answers->branches = std::move(branches);
        done(std::move(error));
      });
    });
    starts.emplace_back([=](Session::Done done) {
      return workingCopy->currentLocationWithCompletionBlock([answers, done](auto location, qrb::Error error) {
        answers->location = std::move(location);
        done(std::move(error));
      });
    });
  }
  // Where all are asked for, a system without remotes has none to add.
  bool hasRemotes = repository->sourceControlSystem()->supportsMultipleRemoteRepositories();
  if (listing.remote && (hasRemotes || !listing.local)) {
    starts.emplace_back([=](Session::Done done) {
      return repository->listRemoteBranchesForBranchAndTagLocations(
          nullptr, [answers, done](auto branches, auto, qrb::Error error) {
            answers->remoteBranches = std::move(branches);
            done(std::move(error));
          });
    });
  }
  return starts;
}

bool isCurrent(const QRBSourceControlBranch& branch, const Answers& answers) {
  return !branch.isRemoteBranch() && branch.isSimilar(answers.location);
}

JSONValue jsonOf(const QRBSourceControlBranch& branch, const Answers& answers) {
  JSONValue entry;
  setPath(entry, "name", branch.name().view());
  entry["current"] = isCurrent(branch, answers);
  entry["primary"] = branch.isPrimaryBranch();
  if (branch.revision()) entry["revision"] = branch.revision()->identifier().view();
  if (branch.remoteName()) setPath(entry, "remote", branch.remoteName().view());
  return entry;
}

void write(Output& output, const QRBSourceControlBranch& branch, const Answers& answers) {
  bool current = isCurrent(branch, answers);
  output.write(current ? "* " : "  ");
  if (branch.remoteName()) output.write(Style::cyan, displayText(branch.remoteName().view()) + "/");
  output.write(current ? Style::green : Style::plain, displayText(branch.name().view()));
  if (branch.isPrimaryBranch()) output.write(Style::dim, "  (primary)");
  output.write("\n");
}

}  // namespace

ExitStatus listBranches(Session& session, const QRBSourceControlWorkingCopyPtr& workingCopy, BranchListing listing) {
  auto answers = std::make_shared<Answers>();
  for (const qrb::Error& error : session.perform("Listing branches", requests(workingCopy, listing, answers))) {
    if (error) return session.fail(error);
  }
  JSONArray array(session.output());
  for (const auto* branches : {&answers->branches, &answers->remoteBranches}) {
    for (const QRBSourceControlBranchPtr& branch : *branches) {
      if (session.json()) {
        array.add(jsonOf(*branch, *answers));
      } else {
        write(session.output(), *branch, *answers);
      }
    }
  }
  if (session.json()) array.finish();
  return ExitStatus::success;
}

}  // namespace host
