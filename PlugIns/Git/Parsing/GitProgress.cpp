#include "GitProgress.h"

#include <algorithm>
#include <charconv>
#include <span>

namespace {

/// No line of progress is that long; the rest of one is dropped.
constexpr std::size_t longestLine = 4096;
/// Less is not worth a message to the host.
constexpr double leastStep = 0.005;

/// A part of the work and the part of the whole that it is taken for: most of the time goes into the transfer.
struct Phase {
  std::string_view title;
  bool isRemote;
  double begin;
  double end;
};

constexpr Phase fetchPhases[] = {{"Enumerating objects", true, 0, 0.02},      {"Counting objects", true, 0.02, 0.05},
                                 {"Compressing objects", true, 0.05, 0.1},    {"Receiving objects", false, 0.1, 0.8},
                                 {"Unpacking objects", false, 0.1, 0.95},     {"Resolving deltas", false, 0.8, 0.95},
                                 {"Checking connectivity", false, 0.95, 0.98}};
constexpr Phase clonePhases[] = {{"Enumerating objects", true, 0, 0.02},      {"Counting objects", true, 0.02, 0.05},
                                 {"Compressing objects", true, 0.05, 0.1},    {"Receiving objects", false, 0.1, 0.65},
                                 {"Unpacking objects", false, 0.1, 0.8},      {"Resolving deltas", false, 0.65, 0.8},
                                 {"Checking connectivity", false, 0.8, 0.82}, {"Updating files", false, 0.82, 0.99},
                                 {"Filtering content", false, 0.82, 0.99}};
constexpr Phase pushPhases[] = {{"Enumerating objects", false, 0, 0.02},   {"Counting objects", false, 0.02, 0.05},
                                {"Compressing objects", false, 0.05, 0.2}, {"Writing objects", false, 0.2, 0.9},
                                {"Resolving deltas", true, 0.9, 0.98},     {"Unpacking objects", true, 0.9, 0.98}};

std::span<const Phase> phasesOf(GitTransfer transfer) {
  switch (transfer) {
    case GitTransfer::fetch:
      return fetchPhases;
    case GitTransfer::clone:
      return clonePhases;
    case GitTransfer::push:
      break;
  }
  return pushPhases;
}

std::string_view trim(std::string_view text) {
  // Git clears the rest of a terminal's line, or writes blanks over it.
  constexpr std::string_view clear = "\x1b[K";
  while (text.ends_with(clear)) text.remove_suffix(clear.size());
  std::size_t begin = text.find_first_not_of(' ');
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(' ') - begin + 1);
}

bool isTitle(std::string_view text) {
  return !text.empty() && text.size() < 64 &&
         text.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz ") == std::string_view::npos;
}

/// What the other side tells may be meant for a terminal.
bool isPlainText(std::string_view text) {
  return std::ranges::all_of(text, [](char byte) { return byte >= ' ' && byte <= '~'; });
}

}  // namespace

std::optional<GitProgressLine> gitReadProgressLine(std::string_view line) {
  GitProgressLine result;
  constexpr std::string_view remote = "remote: ";
  if (line.starts_with(remote)) {
    result.isRemote = true;
    line.remove_prefix(remote.size());
  }
  result.text = trim(line);
  std::size_t colon = result.text.find(": ");
  if (colon == std::string_view::npos || !isPlainText(result.text)) return std::nullopt;
  result.title = result.text.substr(0, colon);
  std::string_view rest = trim(result.text.substr(colon + 2));
  int number = 0;
  auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), number);
  if (!isTitle(result.title) || error != std::errc() || number < 0) return std::nullopt;
  rest.remove_prefix(static_cast<std::size_t>(end - rest.data()));
  if (rest.starts_with('%')) {
    if (number > 100) return std::nullopt;
    result.percent = number;
  } else if (!rest.empty() && rest.front() != ',') {
    return std::nullopt;
  }
  return result;
}

std::string gitWithoutProgress(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    std::size_t end = std::min(text.find_first_of("\r\n"), text.size());
    std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    bool isBeginning = line.starts_with("Cloning into '") || line.starts_with("remote: Total ");
    if (trim(line).empty() || isBeginning || gitReadProgressLine(line)) continue;
    result.append(result.empty() ? "" : "\n").append(line);
  }
  return result;
}

bool GitProgressReader::takeLine(std::string_view& bytes) {
  std::size_t end = bytes.find_first_of("\r\n");
  std::string_view piece = bytes.substr(0, end);
  _line.append(piece.substr(0, longestLine - std::min(longestLine, _line.size())));
  bytes.remove_prefix(std::min(piece.size() + 1, bytes.size()));
  return end != std::string_view::npos;
}

bool GitProgressReader::advance(const GitProgressLine& line) {
  auto phases = phasesOf(_transfer);
  auto phase = std::ranges::find_if(phases, [&](const Phase& candidate) {
    return candidate.title == line.title && candidate.isRemote == line.isRemote;
  });
  if (phase == phases.end()) return false;
  double fraction = phase->begin + (phase->end - phase->begin) * line.percent.value_or(0) / 100;
  bool isFarther = fraction >= _fraction + leastStep || (line.percent == 100 && fraction > _fraction);
  if (_title == line.title && !isFarther) return false;
  _title = line.title;
  _fraction = std::max(_fraction, fraction);
  return true;
}
