#include "Checks.h"
#include "QRBSourceControl.h"
#include "QRBSourceControlPlugInProtocol.h"

namespace host {

namespace {

namespace Protocol = QRBSourceControlPlugInProtocol;
using Fault = PlugInAnswer::Fault;
using Encoder = Conversation::Encoder;

constexpr std::uint32_t kMannersIdentifier = 1;
constexpr const char* kUnknownMethod = "aRequestThatNobodyKnows:completionBlock:";

std::string codeOf(const PlugInAnswer& answer) {
  return answer.error
             ? "the error " + std::to_string(answer.error.code()) + " of \"" + answer.error.domain().str() + '"'
             : std::string("no error");
}

Verdict checkUnknownRequest(PlugInUnderCheck& plugIn) {
  if (!plugIn.asked().answer) return Verdict::skipped(kNoAnswer);
  Conversation conversation(plugIn.setting);
  PlugInAnswer answer = conversation.ask(kMannersIdentifier, kUnknownMethod, argumentsOf());
  if (answer.isUnserved()) return Verdict::ok();
  plugIn.hidesUnserved = true;
  return answer ? Verdict::wrong("It answered with " + codeOf(answer) + ".") : Verdict::of(answer);
}

Verdict checkMoreArguments(PlugInUnderCheck& plugIn) {
  if (!plugIn.asked().answer) return Verdict::skipped(kNoAnswer);
  Conversation conversation(plugIn.setting);
  return Verdict::of(conversation.ask(kMannersIdentifier, Protocol::sourceControlSystem.selector,
                                      argumentsOf(qrb::String("of a later version"), std::int64_t{7})));
}

Verdict checkNotUnderstood(PlugInUnderCheck& plugIn) {
  if (!plugIn.asked().answer) return Verdict::skipped(kNoAnswer);
  constexpr std::pair<const char*, std::string_view> kMessagesOfNoHost[] = {
      {"an unknown notification", {"\x93\x02\xa4more\x90", 8}},
      {"a response to no request", {"\x94\x01\x07\xc0\x90", 5}},
      {"a value that is no message", {"\x2a", 1}},
      {"bytes that are no MessagePack", {"\xc1", 1}},
  };
  for (const auto& [what, bytes] : kMessagesOfNoHost) {
    Conversation conversation(plugIn.setting);
    conversation.send(bytes);
    std::optional<qrb::ExitStatus> ended = conversation.awaitEnd();
    std::string after = "After " + std::string(what) + " it ";
    if (!ended) return Verdict::wrong(after + "runs on.");
    if (ended->kind != qrb::ExitStatus::Kind::exited || ended->value == 0) {
      return Verdict::wrong(after + "ended with " + ended->description() + ".");
    }
    if (conversation.lastWords().empty()) return Verdict::wrong(after + "wrote nothing to descriptor 2.");
  }
  return Verdict::ok();
}

enum class Done { isFine, isWrong };

Verdict askEachServed(PlugInUnderCheck& plugIn, Done done,
                      const std::function<void(qrb::ArchiveWriter&, const RequestProbe&)>& arguments) {
  bool isAny = false;
  for (const RequestProbe& request : requestProbes()) {
    if (!plugIn.served.contains(request.method)) continue;
    isAny = true;
    Conversation conversation(plugIn.setting);
    PlugInAnswer answer = conversation.ask(kMannersIdentifier, request.method,
                                           [&](qrb::ArchiveWriter& writer) { arguments(writer, request); });
    if (answer.exitedWithFailure()) continue;
    if (!answer) return Verdict::of(answer);
    if (!answer.error && done == Done::isWrong) {
      return Verdict::wrong("It answered \"" + std::string(request.method) + "\" as if it had understood.");
    }
  }
  return isAny ? Verdict::ok() : Verdict::skipped("It serves no request that has arguments.");
}

Verdict checkNoArguments(PlugInUnderCheck& plugIn) {
  return askEachServed(plugIn, Done::isFine,
                       [](qrb::ArchiveWriter& writer, const RequestProbe&) { writer.writeArrayHeader(0); });
}

Verdict checkWrongTypes(PlugInUnderCheck& plugIn) {
  return askEachServed(plugIn, Done::isWrong, [](qrb::ArchiveWriter& writer, const RequestProbe& request) {
    writer.writeArrayHeader(request.argumentCount);
    for (std::size_t index = 0; index < request.argumentCount; ++index) writer.writeInt(-1);
  });
}

void writeUnknown(qrb::ArchiveWriter& writer) {
  writer.writeKey("keyOfALaterVersion");
  writer.writeMapHeader(1);
  writer.writeKey("fileURL");
  writer.writeArrayHeader(2);
  writer.writeNil();
  writer.writeDouble(0.5);
}

// Writes the working copy as the library does, with keys that nobody knows yet besides.
void writeWithUnknownKeys(qrb::ArchiveWriter& writer, const QRBSourceControlWorkingCopyPtr& workingCopy) {
  QRBSourceControlRepositoryPtr repository = workingCopy->repository();
  writer.writeMapHeader(5);
  writer.writeNil();
  writer.writeKey("QRBSourceControlWorkingCopy");
  writeUnknown(writer);
  writer.writeKey("_id");
  writer.writeString(workingCopy->_id().view());
  writer.writeKey("repository");
  writer.writeMapHeader(6);
  writer.writeNil();
  writer.writeKey("QRBSourceControlRepository");
  writer.writeKey("_id");
  writer.writeString(repository->_id().view());
  writeUnknown(writer);
  writer.writeKey("URL");
  writer.writeString(repository->URL().absoluteString().view());
  writer.writeKey("secondaryIdentifier");
  writer.writeString(repository->secondaryIdentifier().view());
  writer.writeKey("sourceControlSystem");
  writer.writeObject(repository->sourceControlSystem());
  writer.writeKey("fileURL");
  writer.writeString(workingCopy->fileURL().absoluteString().view());
}

Verdict checkUnknownKeys(PlugInUnderCheck& plugIn) {
  constexpr std::string_view kMethod = Protocol::filesAndStatusOfWorkingCopy.selector;
  if (!plugIn.served.contains(kMethod)) return Verdict::skipped("It does not serve the status.");
  QRBSourceControlWorkingCopyPtr workingCopy = plugIn.emptyExample().workingCopy;
  Conversation known(plugIn.setting);
  PlugInAnswer usual = known.ask(kMannersIdentifier, kMethod, argumentsOf(workingCopy, false));
  if (!usual) return Verdict::of(usual);
  Conversation unknown(plugIn.setting);
  PlugInAnswer answer = unknown.ask(kMannersIdentifier, kMethod, [&](qrb::ArchiveWriter& writer) {
    writer.writeArrayHeader(2);
    writeWithUnknownKeys(writer, workingCopy);
    writer.writeBool(false);
  });
  if (!answer) return Verdict::of(answer);
  if (codeOf(answer) == codeOf(usual)) return Verdict::ok();
  return Verdict::wrong("It answered with " + codeOf(answer) + ", and without such keys with " + codeOf(usual) + ".");
}

constexpr RawCheck kMannersChecks[] = {
    {{"unknown-request", kLifeSection,
      "A request that it does not serve, whatever its method, it answers with the error -700."},
     checkUnknownRequest},
    {{"more-arguments", kMessagesSection, "What follows the last known argument is passed over."}, checkMoreArguments},
    {{"not-understood", kLifeSection,
      "On anything else that it does not understand it writes a line to descriptor 2 and exits with a non-zero "
      "status."},
     checkNotUnderstood},
};

constexpr RawCheck kArgumentChecks[] = {
    {{"missing-arguments", kMessagesSection, "A missing argument is the type's absent value: it answers, or exits."},
     checkNoArguments},
    {{"wrong-types", "Values",
      "A value of another type than its place admits it refuses: by an error, or by exiting with a non-zero status."},
     checkWrongTypes},
    {{"unknown-keys", "Objects", "Keys of objects that it does not know are skipped; key numbers go on across them."},
     checkUnknownKeys},
};

}  // namespace

std::span<const RawCheck> mannersChecks() {
  return kMannersChecks;
}

std::span<const RawCheck> argumentChecks() {
  return kArgumentChecks;
}

}  // namespace host
