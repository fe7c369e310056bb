#include "SubversionProbe.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string_view>
#include <vector>

namespace {

namespace fs = std::filesystem;

bool isPlainFile(const fs::path& path) {
  std::error_code error;
  return fs::symlink_status(path, error).type() == fs::file_type::regular;
}

/// The first lines of a file that may be anything.
std::string beginningOf(const fs::path& path) {
  constexpr std::streamsize enough = 16 * 1024;
  std::ifstream stream(path, std::ios::binary);
  std::string text(enough, '\0');
  stream.read(text.data(), enough);
  text.resize(static_cast<std::size_t>(stream.gcount()));
  return text;
}

/// In the form of lines: the format's number, then of the folder itself its name, kind, revision, address and root.
void readLines(const std::string& text, SubversionProbe& probe) {
  std::istringstream stream(text);
  std::vector<std::string> lines;
  for (std::string line; lines.size() < 6 && std::getline(stream, line);) lines.push_back(line);
  if (lines.size() < 5) return;
  probe.url = lines[4];
  if (lines.size() > 5) probe.rootURL = lines[5];
}

/// In the oldest form: attributes of the entry of the folder itself.
void readMarkup(const std::string& text, SubversionProbe& probe) {
  auto attribute = [&](std::string_view name) {
    std::string begin = "\n   " + std::string(name) + "=\"";
    std::size_t at = text.find(begin);
    if (at == std::string::npos) return std::string();
    at += begin.size();
    return text.substr(at, text.find('"', at) - at);
  };
  probe.url = attribute("url");
  probe.rootURL = attribute("repos");
}

}  // namespace

std::optional<SubversionProbe> SubversionProbe::of(const std::string& folder) {
  fs::path data = fs::path(folder) / ".svn";
  std::error_code error;
  if (fs::symlink_status(data, error).type() != fs::file_type::directory) return std::nullopt;
  SubversionProbe probe;
  if (isPlainFile(data / "wc.db")) return probe;
  if (!isPlainFile(data / "entries")) return std::nullopt;
  probe.form = Form::old;
  std::string text = beginningOf(data / "entries");
  if (text.starts_with("<?xml")) {
    readMarkup(text, probe);
  } else {
    readLines(text, probe);
  }
  return probe;
}
