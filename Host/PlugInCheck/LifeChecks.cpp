#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "Checks.h"
#include "QRBSourceControl.h"
#include "QRBSourceControlManager.h"
#include "QRBSourceControlPlugInProtocol.h"
#include "QRBSourceControlSystem.h"

namespace host {

namespace {

namespace Protocol = QRBSourceControlPlugInProtocol;
using Fault = PlugInAnswer::Fault;

constexpr std::uint32_t kUsualIdentifier = 1;
constexpr std::uint32_t kLargestIdentifier = 0xffffffff;
constexpr const char* kClassesSection = "Classes";
constexpr const char* kNoSystem = "There is no descriptor to look at.";

constexpr QRBSourceControlAuthenticationTypes kAuthenticationTypes = QRBSourceControlAuthenticationTypeAnonymous |
                                                                     QRBSourceControlAuthenticationTypeBasic |
                                                                     QRBSourceControlAuthenticationTypeSSHKeys;

PlugInAnswer askListing(Conversation& conversation, std::uint32_t identifier) {
  return conversation.ask(identifier, Protocol::sourceControlSystem.selector, argumentsOf());
}

Verdict checkFile(PlugInUnderCheck& plugIn) {
  std::error_code failure;
  if (!std::filesystem::is_regular_file(plugIn.file, failure)) return Verdict::wrong("It is no file.");
  if (::access(plugIn.file.c_str(), X_OK) != 0) {
    return Verdict::wrong("You may not execute it: chmod +x " + plugIn.file.native());
  }
  return Verdict::ok();
}

Verdict checkName(PlugInUnderCheck& plugIn) {
  std::vector<qrb::String> found = QRBSourceControlManager::installedPlugInIdentifiers();
  if (std::ranges::count(found, qrb::String(plugIn.identifier)) > 0) return Verdict::ok();
  return Verdict::wrong("A host that searches its folder does not find " + inQuotes(plugIn.identifier) + ".");
}

Verdict checkOwner(PlugInUnderCheck& plugIn) {
  struct stat status {};
  if (::stat(plugIn.file.c_str(), &status) != 0) return Verdict::skipped("Nothing is known of the file.");
  if (status.st_uid != 0 && status.st_uid != ::geteuid()) {
    return Verdict::wrong("It belongs to the user " + std::to_string(status.st_uid) + ".");
  }
  if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
    return Verdict::wrong("Others may write to it: chmod go-w " + plugIn.file.native());
  }
  return Verdict::ok();
}

Verdict checkStart(PlugInUnderCheck& plugIn) {
  const PlugInAnswer& answer = plugIn.asked().answer;
  return answer.fault == Fault::notStarted ? Verdict::wrong(answer.problem) : Verdict::ok();
}

Verdict checkListing(PlugInUnderCheck& plugIn) {
  const PlugInAnswer& answer = plugIn.asked().answer;
  if (answer.fault == Fault::silent || answer.fault == Fault::ended) return Verdict::wrong(answer.problem);
  if (!answer) return Verdict::skipped(kNoAnswer);
  return answer.error ? Verdict::wrong("It answered with an error.") : Verdict::ok();
}

// Looks at the answer, and at what came after it.
Verdict faultOfEither(PlugInUnderCheck& plugIn, Fault fault) {
  const PlugInUnderCheck::Listing& listing = plugIn.asked();
  for (const PlugInAnswer* answer : {&listing.answer, &listing.rest}) {
    if (answer->fault == fault) return Verdict::wrong(answer->problem);
  }
  return listing.answer ? Verdict::ok() : Verdict::skipped(kNoAnswer);
}

Verdict checkMessages(PlugInUnderCheck& plugIn) {
  return faultOfEither(plugIn, Fault::noMessage);
}

Verdict checkResponse(PlugInUnderCheck& plugIn) {
  const PlugInAnswer& answer = plugIn.asked().answer;
  if (answer.fault == Fault::wrongMessage) return Verdict::wrong(answer.problem);
  return answer ? Verdict::ok() : Verdict::skipped(kNoAnswer);
}

Verdict checkOnce(PlugInUnderCheck& plugIn) {
  const PlugInUnderCheck::Listing& listing = plugIn.asked();
  if (!listing.answer) return Verdict::skipped(kNoAnswer);
  return listing.rest.fault == Fault::wrongMessage ? Verdict::wrong(listing.rest.problem) : Verdict::ok();
}

Verdict checkLargestIdentifierIdentifier(PlugInUnderCheck& plugIn) {
  if (!plugIn.asked().answer) return Verdict::skipped(kNoAnswer);
  Conversation conversation(plugIn.setting);
  return Verdict::of(askListing(conversation, kLargestIdentifier));
}

Verdict checkDescriptor(PlugInUnderCheck& plugIn) {
  const PlugInUnderCheck::Listing& listing = plugIn.asked();
  if (!listing.answer) return Verdict::skipped(kNoAnswer);
  if (!listing.undecodable.empty()) return Verdict::wrong("It is not understood: " + listing.undecodable + ".");
  return listing.system ? Verdict::ok() : Verdict::wrong("The answer holds no System.");
}

Verdict checkIdentifier(PlugInUnderCheck& plugIn) {
  const QRBSourceControlSystemPtr& system = plugIn.asked().system;
  if (system == nullptr) return Verdict::skipped(kNoSystem);
  const qrb::String& claimed = system->plugInIdentifier();
  if (claimed == plugIn.identifier) return Verdict::ok();
  return Verdict::wrong("Its plugInIdentifier is " + (claimed ? inQuotes(claimed.view()) : std::string("missing")) +
                        ", the file is " + inQuotes(plugIn.identifier) + ".");
}

Verdict checkNames(PlugInUnderCheck& plugIn) {
  const QRBSourceControlSystemPtr& system = plugIn.asked().system;
  if (system == nullptr) return Verdict::skipped(kNoSystem);
  if (system->name().empty()) return Verdict::wrong("Its name is missing or empty.");
  if (system->version().empty()) return Verdict::wrong("Its version is missing or empty.");
  return Verdict::ok(system->name().str() + " " + system->version().str());
}

Verdict checkFolderName(PlugInUnderCheck& plugIn) {
  const QRBSourceControlSystemPtr& system = plugIn.asked().system;
  if (system == nullptr) return Verdict::skipped(kNoSystem);
  const qrb::String& folder = system->workingCopyFolderIdentifier();
  if (!folder) return Verdict::ok("It scans for working copies itself.");
  std::string_view name = folder.view();
  bool isName = !name.empty() && name != "." && name != ".." && name.find('/') == std::string_view::npos;
  return isName ? Verdict::ok() : Verdict::wrong("Its workingCopyFolderIdentifier is " + inQuotes(name) + ".");
}

Verdict checkAuthentication(PlugInUnderCheck& plugIn) {
  const QRBSourceControlSystemPtr& system = plugIn.asked().system;
  if (system == nullptr) return Verdict::skipped(kNoSystem);
  QRBSourceControlAuthenticationTypes types = system->supportedAuthenticationTypes();
  if ((types & ~kAuthenticationTypes) == 0) return Verdict::ok();
  return Verdict::wrong("Its supportedAuthenticationTypes are " + std::to_string(types) + ".");
}

Verdict checkAdditional(PlugInUnderCheck& plugIn) {
  const QRBSourceControlSystemPtr& system = plugIn.asked().system;
  if (system == nullptr) return Verdict::skipped(kNoSystem);
  for (const RequestProbe& request : requestProbes()) {
    if (!request.isAdditional && system->additionalRequests().contains(qrb::String(request.method))) {
      return Verdict::wrong(inQuotes(request.method) + " belongs to every plug-in's requests.");
    }
  }
  return Verdict::ok();
}

Verdict checkFinished(PlugInUnderCheck& plugIn) {
  const PlugInUnderCheck::Listing& listing = plugIn.asked();
  if (!listing.answer) return Verdict::skipped(kNoAnswer);
  if (!listing.ended) return Verdict::wrong("It runs on.");
  if (listing.ended->succeeded()) return Verdict::ok();
  return Verdict::wrong("It ended with " + listing.ended->description() + "." +
                        (listing.lastWords.empty() ? "" : " It said: " + listing.lastWords));
}

Verdict endWith(Conversation& conversation) {
  conversation.close();
  std::optional<qrb::ExitStatus> ended = conversation.awaitEnd();
  if (!ended) return Verdict::wrong("It runs on.");
  if (ended->kind == qrb::ExitStatus::Kind::exited) return Verdict::ok();
  return Verdict::wrong("It did not exit but ended with " + ended->description() + ".");
}

Verdict checkEndBeforeRequest(PlugInUnderCheck& plugIn) {
  if (plugIn.asked().answer.fault == Fault::notStarted) return Verdict::skipped("It does not start.");
  Conversation conversation(plugIn.setting);
  return endWith(conversation);
}

Verdict checkEndInRequest(PlugInUnderCheck& plugIn) {
  if (plugIn.asked().answer.fault == Fault::notStarted) return Verdict::skipped("It does not start.");
  Conversation conversation(plugIn.setting);
  std::string request = conversation.request(kUsualIdentifier, Protocol::sourceControlSystem.selector, argumentsOf());
  conversation.send(std::string_view(request).substr(0, request.size() / 2));
  return endWith(conversation);
}

Verdict checkEndAfterAnswer(PlugInUnderCheck& plugIn) {
  if (!plugIn.asked().answer) return Verdict::skipped(kNoAnswer);
  Conversation conversation(plugIn.setting);
  PlugInAnswer answer = askListing(conversation, kUsualIdentifier);
  return answer ? endWith(conversation) : Verdict::of(answer);
}

constexpr RawCheck kLifeChecks[] = {
    {{"file", kLifeSection, "It is an executable file."}, checkFile},
    {{"name", kLifeSection,
      "The file's name has the form of an identifier: three or more parts between dots, of letters, digits, hyphens "
      "and underscores."},
     checkName},
    {{"owner", kLifeSection, "The file belongs to you or to root, and nobody else may write to it."}, checkOwner},
    {{"start", kLifeSection, "It can be launched; a script has an interpreter line."}, checkStart},
    {{"listing", kLifeSection, "It answers the listing within the time limit."}, checkListing},
    {{"messages", kLifeSection,
      "Nothing but messages goes to the connection; descriptor 1 is the connection, so a stray print breaks it."},
     checkMessages},
    {{"response", kMessagesSection,
      "A response is [1, id, error, result] with the id as it came, an error that is nil or a map, and an array of the "
      "reply values."},
     checkResponse},
    {{"one-answer", kLifeSection, "It answers the request exactly once."}, checkOnce},
    {{"largest-id", kMessagesSection, "The id is an unsigned integer below 2^32 and given back as it came."},
     checkLargestIdentifierIdentifier},
    {{"descriptor", kClassesSection, "The answer to the listing is a System, and each of its keys has its type."},
     checkDescriptor},
    {{"identifier", kClassesSection, "plugInIdentifier is the name of the executable."}, checkIdentifier},
    {{"shown-names", kClassesSection, "name and version are there to be shown to users."}, checkNames},
    {{"folder-name", kClassesSection, "workingCopyFolderIdentifier is the name of a folder, or absent."},
     checkFolderName},
    {{"authentication", kClassesSection,
      "supportedAuthenticationTypes is a sum of 1 anonymous, 2 user and password, 4 SSH keys."},
     checkAuthentication},
    {{"additional-requests", kClassesSection,
      "additionalRequests lists requests that were added later, and no others."},
     checkAdditional},
    {{"finished", kLifeSection, "At operationsFinished it exits with status 0 at once."}, checkFinished},
    {{"end-before-request", kLifeSection, "At the end of the stream it exits, before any request."},
     checkEndBeforeRequest},
    {{"end-in-request", kLifeSection, "At the end of the stream it exits, in the middle of a request."},
     checkEndInRequest},
    {{"end-after-answer", kLifeSection, "At the end of the stream it exits, after its answer."}, checkEndAfterAnswer},
};

}  // namespace

std::span<const RawCheck> lifeChecks() {
  return kLifeChecks;
}

Verdict Verdict::of(const PlugInAnswer& answer) {
  return answer ? ok() : wrong(answer.problem);
}

const PlugInUnderCheck::Listing& PlugInUnderCheck::asked() {
  if (listing) return *listing;
  listing.emplace();
  Conversation conversation(setting);
  listing->answer = askListing(conversation, kUsualIdentifier);
  if (listing->answer && !listing->answer.error) {
    if (auto values = listing->answer.values<std::tuple<QRBSourceControlSystemPtr>>(listing->undecodable)) {
      listing->system = std::get<0>(*values);
    }
  }
  if (listing->answer) {
    conversation.sendFinished();
    listing->ended = conversation.awaitEnd();
    listing->rest = conversation.rest();
    listing->lastWords = conversation.lastWords();
  }
  return *listing;
}

}  // namespace host
