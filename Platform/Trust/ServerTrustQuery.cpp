#include "ServerTrustQuery.h"

#include <algorithm>

#include "ToolRunner.h"

namespace qrb {
namespace {

/// Much more than the TLS library takes from a server.
constexpr std::size_t mostOutput = 4UL * 1024 * 1024;

/// A host or port that is taken for nothing else, neither by the program nor by a proxy.
bool isPlainName(std::string_view text) {
  return !text.empty() && !text.starts_with('-') &&
         std::ranges::none_of(text, [](unsigned char byte) { return byte <= ' ' || byte == 0x7F || byte == '/'; });
}

}  // namespace

std::optional<ServerTrust> ServerTrustQuery::ask(std::string& reason) const {
  ToolCommand command;
  command.path = program;
  command.arguments = {std::string(withoutBrackets(host)), port};
  if (proxy) {
    command.arguments.insert(command.arguments.end(), {proxy->host, proxy->port});
    // A secret: it stands in no argument.
    if (!proxy->user.empty()) command.standardInput = proxy->user + ":" + proxy->password;
  }
  if (!std::ranges::all_of(command.arguments, isPlainName)) {
    reason = "The address names no server that can be asked for its certificate.";
    return std::nullopt;
  }
  ToolRunner runner;
  runner.setHostConnectionDescriptor(hostConnection);
  runner.setTimeLimit(patience);
  // It has nothing to put in order.
  runner.setGracePeriod(std::chrono::milliseconds(0));
  std::string output;
  ToolResult result = runner.run(command, [&](std::string_view chunk) {
    output.append(chunk);
    return output.size() <= mostOutput;
  });
  auto trust = result.succeeded() ? ServerTrust::parse(output) : std::nullopt;
  if (trust) return trust;
  reason = result.outcome == ToolResult::Outcome::tookTooLong
               ? "The server " + host + ":" + port + " did not show its certificate in time."
               : result.complaint("The program that asks servers for their certificates");
  return std::nullopt;
}

}  // namespace qrb
