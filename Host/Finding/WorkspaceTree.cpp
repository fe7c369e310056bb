#include "WorkspaceTree.h"

#include <algorithm>
#include <span>

#include "PathString.h"
#include "Text.h"

namespace host {

namespace {

constexpr std::size_t kWidestColumn = 48;

struct Entry {
  std::vector<std::string> components;
  const TreePlace* place = nullptr;
};

struct Line {
  std::string text;
  Style style = Style::plain;
  const TreePlace* place = nullptr;
};

// The width of what is shown, near enough: a letter is one column, however many bytes it has.
std::size_t widthOf(std::string_view text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char byte) { return (byte & 0xC0) != 0x80; }));
}

// The sorted entries of one folder, whose components up to the depth are equal, as lines. The depth of the recursion is
// that of the branching, not of the paths, which may come from a stranger.
void addLines(std::span<const Entry> entries, std::size_t depth, const std::string& indent, std::vector<Line>& lines) {
  while (!entries.empty()) {
    const std::string& first = entries.front().components[depth];
    auto end = std::find_if(entries.begin(), entries.end(),
                            [&](const Entry& entry) { return entry.components[depth] != first; });
    auto group = entries.first(static_cast<std::size_t>(end - entries.begin()));
    entries = entries.subspan(group.size());
    std::string name = first;
    std::size_t below = depth + 1;
    // Sorted paths all begin alike when the first and the last do.
    while (group.front().components.size() > below &&
           group.front().components[below] == group.back().components[below]) {
      name += "/" + group.front().components[below++];
    }
    bool isLast = entries.empty();
    std::string text = indent + (isLast ? "└── " : "├── ") + displayPath(name);
    bool isNamed = false;
    for (; !group.empty() && group.front().components.size() == below; group = group.subspan(1)) {
      lines.push_back({text, Style::bold, group.front().place});
      isNamed = true;
    }
    if (!isNamed) lines.push_back({text, Style::plain, nullptr});
    addLines(group, below, indent + (isLast ? "    " : "│   "), lines);
  }
}

std::vector<Line> linesOf(const std::string& root, const std::vector<TreePlace>& places) {
  std::vector<Entry> entries;
  for (const TreePlace& place : places) {
    std::string path =
        qrb::standardizedPath(place.path.substr(std::min(place.path.find_first_not_of('/'), place.path.size())));
    Entry& entry = entries.emplace_back(Entry{{}, &place});
    if (path != "." && !path.empty()) entry.components = qrb::pathComponents(path);
  }
  std::stable_sort(entries.begin(), entries.end(),
                   [](const Entry& a, const Entry& b) { return a.components < b.components; });
  std::vector<Line> lines;
  std::span<const Entry> rest = entries;
  for (; !rest.empty() && rest.front().components.empty(); rest = rest.subspan(1)) {
    lines.push_back({displayPath(root), Style::bold, rest.front().place});
  }
  if (lines.empty()) lines.push_back({displayPath(root), Style::plain, nullptr});
  addLines(rest, 0, {}, lines);
  return lines;
}

}  // namespace

void drawTree(Output& output, const std::string& root, const std::vector<TreePlace>& places) {
  std::vector<Line> lines = linesOf(root, places);
  std::vector<std::size_t> widths{0};
  auto widen = [&](std::size_t column, std::string_view text) {
    if (widths.size() <= column) widths.resize(column + 1);
    widths[column] = std::max(widths[column], std::min(kWidestColumn, widthOf(text)));
  };
  for (const Line& line : lines) {
    if (line.place == nullptr) continue;
    widen(0, line.text);
    for (std::size_t column = 0; column < line.place->remarks.size(); ++column) {
      widen(column + 1, line.place->remarks[column].text);
    }
  }
  for (const Line& line : lines) {
    output.write(line.style, line.text);
    std::size_t gap = 0;
    auto pad = [&](std::size_t column, std::string_view text) {
      std::size_t width = widthOf(text);
      gap += 2 + (width < widths[column] ? widths[column] - width : 0);
    };
    if (line.place != nullptr) pad(0, line.text);
    for (std::size_t column = 1; line.place != nullptr && column <= line.place->remarks.size(); ++column) {
      const TreePlace::Remark& remark = line.place->remarks[column - 1];
      if (!remark.text.empty()) {
        output.write(std::string(gap, ' '));
        output.write(remark.style, remark.text);
        gap = 0;
      }
      pad(column, remark.text);
    }
    output.write("\n");
  }
}

}  // namespace host
