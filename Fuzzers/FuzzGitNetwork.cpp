// The readers of what transfers print and ask: progress, push reports, settings of remotes, prompts, addresses.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "AskpassChannel.h"
#include "CredentialPrompt.h"
#include "GitNetworkSettings.h"
#include "GitProgress.h"
#include "GitPushReport.h"
#include "RemoteAddress.h"
#include "ServerTrust.h"

namespace {

std::string readProgress(GitTransfer transfer, std::string_view bytes, std::size_t cut) {
  GitProgressReader reader(transfer);
  std::string result;
  double last = 0;
  auto sink = [&](double fraction, std::string_view text, bool) {
    if (!(fraction >= last && fraction <= 1)) std::abort();
    last = fraction;
    result.append(text).append(1, '\0');
  };
  reader.feed(bytes.substr(0, cut), sink);
  reader.feed(bytes.substr(cut), sink);
  return result;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view bytes(reinterpret_cast<const char*>(data), size);
  for (GitTransfer transfer : {GitTransfer::fetch, GitTransfer::push, GitTransfer::clone}) {
    if (readProgress(transfer, bytes, size) != readProgress(transfer, bytes, size / 2)) std::abort();
  }
  for (const GitPushedRef& ref : gitReadPushReport(bytes)) {
    if (bytes.find(ref.summary) == std::string_view::npos) std::abort();
  }
  GitNetworkSettings settings = gitReadNetworkSettings(bytes);
  for (const GitRemoteSettings& remote : settings.remotes) gitTrackingRef(remote, bytes);
  qrb::CredentialPrompt::parse(bytes);
  qrb::parseAskpassQuestion(bytes);
  if (auto trust = qrb::ServerTrust::parse(bytes)) trust->description();
  qrb::RemoteAddress address = qrb::RemoteAddress::parse(bytes);
  settings.remoteAt(address, "/");
  // What is handed to a tool holds no password, whoever reads it.
  std::string shown = qrb::addressWithoutPassword(bytes);
  if (qrb::RemoteAddress::parse(shown).password) std::abort();
  if (qrb::RemoteAddress::parse(shown).host != address.host) std::abort();
  if (bytes.find("://") == std::string_view::npos) return 0;
  qrb::RemoteAddress other = qrb::RemoteAddress::parse(qrb::addressWithUser(bytes, "a@b:c/d"));
  if (other.user != "a@b:c/d" || other.password || other.host != address.host) std::abort();
  return 0;
}
