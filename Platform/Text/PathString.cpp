#include "PathString.h"

#include <filesystem>

namespace qrb {

namespace {

// "/" stays what it is.
std::string_view withoutTrailingSlashes(std::string_view path) {
  while (path.size() > 1 && path.back() == '/') path.remove_suffix(1);
  return path;
}

}  // namespace

std::string standardizedPath(std::string_view path) {
  std::string normal = std::filesystem::path(path).lexically_normal().native();
  normal.resize(withoutTrailingSlashes(normal).size());
  return normal;
}

std::string_view lastPathComponent(std::string_view path) {
  path = withoutTrailingSlashes(path);
  if (path == "/") return path;
  return path.substr(path.rfind('/') + 1);
}

std::string_view deletingLastPathComponent(std::string_view path) {
  path = withoutTrailingSlashes(path);
  std::size_t slash = path.rfind('/');
  if (slash == std::string_view::npos) return {};
  return withoutTrailingSlashes(path.substr(0, slash == 0 ? 1 : slash));
}

std::string_view deletingPathExtension(std::string_view path) {
  path = withoutTrailingSlashes(path);
  std::string_view name = lastPathComponent(path);
  std::size_t dot = name.rfind('.');
  if (dot == std::string_view::npos || dot == 0 || dot + 1 == name.size()) return path;
  return path.substr(0, path.size() - name.size() + dot);
}

std::string appendingPathComponent(std::string_view path, std::string_view component) {
  std::string joined(withoutTrailingSlashes(path));
  if (!path.empty()) {
    while (!component.empty() && component.front() == '/') component.remove_prefix(1);
    if (component.empty()) return joined;
    if (joined != "/") joined += '/';
  }
  joined += withoutTrailingSlashes(component);
  return joined;
}

std::vector<std::string> pathComponents(std::string_view path) {
  std::vector<std::string> components;
  if (!path.empty() && path.front() == '/') components.emplace_back("/");
  while (!path.empty()) {
    std::size_t slash = path.find('/');
    std::string_view component = path.substr(0, slash);
    if (!component.empty()) components.emplace_back(component);
    path.remove_prefix(slash == std::string_view::npos ? path.size() : slash + 1);
  }
  return components;
}

}  // namespace qrb
