#include "ServerTrust.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <ctime>

#include "Digest.h"
#include "UTF8.h"

namespace qrb {
namespace {

struct FaultKind {
  TrustFault fault;
  bool isFatal;
  /// What the program that asks servers calls it.
  std::string_view keyword;
  /// For people; "%" stands for the day that it is about.
  std::string_view words;
};

constexpr std::array<FaultKind, 8> faultKinds{{
    {TrustFault::unknownIssuer, false, "unknown-issuer", "its issuer is not known"},
    {TrustFault::expired, false, "expired", "it was valid until %"},
    {TrustFault::notYetValid, false, "not-yet-valid", "it is valid only from % on"},
    {TrustFault::otherName, false, "other-name", "it is for another name"},
    {TrustFault::revoked, true, "revoked", "it has been revoked"},
    {TrustFault::badSignature, true, "bad-signature", "its signature is wrong"},
    {TrustFault::brokenAlgorithm, true, "broken-algorithm", "it is signed in a way that can be forged"},
    {TrustFault::notUnderstood, true, "not-understood", "it cannot be checked"},
}};

const FaultKind& kindOf(TrustFault fault) {
  const auto* found = std::ranges::find(faultKinds, fault, &FaultKind::fault);
  return found == faultKinds.end() ? faultKinds.back() : *found;
}

std::string dayOf(std::int64_t seconds) {
  std::time_t time = seconds;
  std::tm parts{};
  std::array<char, 32> text;
  if (::gmtime_r(&time, &parts) == nullptr) return std::to_string(seconds);
  return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%d", &parts)};
}

/// A stranger chose the name, and may have chosen what a terminal obeys.
std::string shownName(std::string_view name) {
  constexpr std::size_t mostBytes = 200;
  std::string text = replacingInvalidUTF8(name.substr(0, mostBytes));
  std::ranges::replace_if(
      text, [](unsigned char byte) { return byte < ' ' || byte == 0x7F; }, '?');
  return text.empty() ? "nobody" : text;
}

int digitValue(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  return digit >= 'A' && digit <= 'F' ? digit - 'A' + 10 : -1;
}

std::optional<std::string> bytesOf(std::string_view hex) {
  if (hex.size() % 2 != 0) return std::nullopt;
  std::string bytes;
  bytes.reserve(hex.size() / 2);
  for (std::size_t index = 0; index < hex.size(); index += 2) {
    int high = digitValue(hex[index]);
    int low = digitValue(hex[index + 1]);
    if (high < 0 || low < 0) return std::nullopt;
    bytes.push_back(static_cast<char>(high << 4 | low));
  }
  return bytes;
}

bool readNumber(std::string_view text, std::int64_t& number) {
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size();
}

bool readLine(ServerTrust& trust, std::string_view key, std::string_view value) {
  if (key == "fault") {
    const auto* found = std::ranges::find(faultKinds, value, &FaultKind::keyword);
    trust.faults.push_back(found == faultKinds.end() ? TrustFault::notUnderstood : found->fault);
    return true;
  }
  if (key == "pin") {
    trust.pin = value;
    return value.starts_with("sha256//");
  }
  if (key == "from") return readNumber(value, trust.validFrom);
  if (key == "until") return readNumber(value, trust.validUntil);
  auto bytes = bytesOf(value);
  if (!bytes) return false;
  if (key == "name") {
    trust.name = *std::move(bytes);
    return true;
  }
  if (key != "certificate" || bytes->empty()) return false;
  trust.certificates.push_back(*std::move(bytes));
  return true;
}

}  // namespace

TrustVerdict ServerTrust::verdict() const {
  bool isFatal = std::ranges::any_of(faults, [](TrustFault fault) { return kindOf(fault).isFatal; });
  if (certificates.empty() || isFatal) return TrustVerdict::fatalFailure;
  return faults.empty() ? TrustVerdict::trusted : TrustVerdict::recoverableFailure;
}

std::string ServerTrust::fingerprint() const {
  return certificates.empty() ? std::string() : sha1Hex(certificates.front());
}

std::string ServerTrust::longFingerprint() const {
  return certificates.empty() ? std::string() : sha256Hex(certificates.front());
}

bool ServerTrust::hasFingerprint(std::string_view text) const {
  std::string digits;
  for (char byte : text) {
    if (byte != ':') digits.push_back(byte >= 'a' && byte <= 'f' ? static_cast<char>(byte - 'a' + 'A') : byte);
  }
  return !digits.empty() && digits == fingerprint();
}

bool ServerTrust::isAcceptable(std::optional<std::string_view> expected,
                               std::optional<std::string_view> userTrusted) const {
  if (expected && !hasFingerprint(*expected)) return false;
  switch (verdict()) {
    case TrustVerdict::trusted:
      return true;
    case TrustVerdict::recoverableFailure:
      return userTrusted && hasFingerprint(*userTrusted);
    case TrustVerdict::fatalFailure:
      return false;
  }
  return false;
}

std::string ServerTrust::description() const {
  std::string text = "The certificate is for " + shownName(name) + ".";
  for (TrustFault fault : faults) {
    std::string words(kindOf(fault).words);
    if (std::size_t place = words.find('%'); place != std::string::npos) {
      words.replace(place, 1, dayOf(fault == TrustFault::expired ? validUntil : validFrom));
    }
    text += (fault == faults.front() ? " It is not trusted: " : "; ") + words;
  }
  if (!faults.empty()) text += ".";
  return text + " Its fingerprint is " + fingerprint() + ", and by SHA-256 " + longFingerprint() + ".";
}

std::optional<ServerTrust> ServerTrust::parse(std::string_view output) {
  ServerTrust trust;
  while (!output.empty()) {
    std::size_t end = output.find('\n');
    if (end == std::string_view::npos) return std::nullopt;
    std::string_view line = output.substr(0, end);
    output.remove_prefix(end + 1);
    std::string_view key = line.substr(0, line.find(' '));
    if (key.size() == line.size() || !readLine(trust, key, line.substr(key.size() + 1))) return std::nullopt;
  }
  // The certificates come last, so with one of them all that is wrong has been read.
  if (trust.certificates.empty() || trust.pin.empty()) return std::nullopt;
  return trust;
}

}  // namespace qrb
