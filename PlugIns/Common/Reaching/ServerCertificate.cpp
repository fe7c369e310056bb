#include "ServerCertificate.h"

#include <array>

#include "OwnProgram.h"

namespace qrb {
namespace {

constexpr std::string_view upperDigits = "0123456789ABCDEF";

std::string hexDigits(std::string_view text) {
  std::string digits;
  for (char byte : text) {
    if (byte != ':') digits.push_back(byte >= 'a' && byte <= 'f' ? static_cast<char>(byte - 'a' + 'A') : byte);
  }
  return digits;
}

}  // namespace

bool ServerCertificate::hasFingerprint(std::string_view text) const {
  return !fingerprint.empty() && hexDigits(text) == fingerprint;
}

std::optional<ServerCertificate> ServerCertificate::parse(std::string_view output) {
  std::array<std::string_view, 3> lines;
  for (std::string_view& line : lines) {
    std::size_t end = output.find('\n');
    if (end == std::string_view::npos) return std::nullopt;
    line = output.substr(0, end);
    output.remove_prefix(end + 1);
  }
  bool isFingerprint = lines[0].size() == 40 && lines[0].find_first_not_of(upperDigits) == std::string_view::npos;
  if (!isFingerprint || !lines[1].starts_with("sha256//")) return std::nullopt;
  return ServerCertificate{std::string(lines[0]), std::string(lines[1]), std::string(lines[2])};
}

std::optional<ServerCertificate> ServerCertificate::of(const RemoteAddress& server, const ToolRunner& runner,
                                                       std::string& reason) {
  if (server.host.empty() || server.host.starts_with('-') || server.port.starts_with('-')) {
    reason = "The address names no server.";
    return std::nullopt;
  }
  ToolCommand command;
  command.path = programBesideOwn("qrb-server-certificate");
  command.arguments = {server.host, server.port};
  std::string output;
  ToolResult result = runner.run(command, [&](std::string_view chunk) {
    output.append(chunk);
    return true;
  });
  auto certificate = result.succeeded() ? parse(output) : std::nullopt;
  if (!certificate) reason = result.complaint("The program that asks servers for their certificates");
  return certificate;
}

}  // namespace qrb
