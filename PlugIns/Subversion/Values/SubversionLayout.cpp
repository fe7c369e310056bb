#include "SubversionLayout.h"

#include <algorithm>
#include <array>

#include "QRBSourceControlBranch.h"
#include "QRBSourceControlBranchAndTagLocations.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlPathLocation.h"
#include "QRBSourceControlTag.h"
#include "SubversionValues.h"
#include "UnicodeText.h"

namespace {

constexpr std::array<std::string_view, 1> trunkNames{"trunk"};
constexpr std::array<std::string_view, 2> branchesNames{"branches", "branch"};
constexpr std::array<std::string_view, 2> tagsNames{"tags", "tag"};

template <std::size_t count>
bool isOneOf(const std::array<std::string_view, count>& names, std::string_view name) {
  return std::ranges::find(names, qrb::lowercased(name)) != names.end();
}

bool isLayoutFolder(std::string_view name) {
  return isOneOf(trunkNames, name) || isOneOf(branchesNames, name) || isOneOf(tagsNames, name);
}

std::string joined(std::string_view folder, std::string_view name) {
  return folder.empty() ? std::string(name) : std::string(folder) + "/" + std::string(name);
}

std::string_view parentOf(std::string_view path) {
  std::size_t slash = path.rfind('/');
  return slash == std::string_view::npos ? std::string_view() : path.substr(0, slash);
}

template <std::size_t count>
std::string pathNamed(const std::array<std::string_view, count>& names, std::string_view project,
                      const std::vector<std::string>& folders) {
  for (std::string_view wanted : names) {
    for (const std::string& folder : folders) {
      if (qrb::lowercased(folder) == wanted) return joined(project, folder);
    }
  }
  return {};
}

/// The layout of a project in a folder; empty where none is there.
SubversionLayout layoutIn(std::string_view project, const SubversionFolders& folders) {
  auto found = folders(std::string(project));
  if (!found) return {};
  SubversionLayout layout{pathNamed(trunkNames, project, *found), pathNamed(branchesNames, project, *found),
                          pathNamed(tagsNames, project, *found)};
  if (layout.primary.empty() && layout.branches.empty()) return {};
  if (layout.primary.empty()) layout.primary = joined(project, "trunk");
  if (layout.branches.empty()) layout.branches = joined(project, "branches");
  if (layout.tags.empty()) layout.tags = joined(project, "tags");
  return layout;
}

std::string textOf(const QRBSourceControlPathLocationPtr& location) {
  if (!location || location->isRootPath()) return {};
  return subversionDecoded(subversionTrimmed(location->relativePath().view()));
}

/// A name that stays where branches or tags are.
bool isPlainName(std::string_view name) {
  for (std::size_t begin = 0; begin <= name.size();) {
    std::size_t end = std::min(name.find('/', begin), name.size());
    std::string_view part = name.substr(begin, end - begin);
    if (part.empty() || part == "." || part == "..") return false;
    begin = end + 1;
  }
  return std::ranges::none_of(name, [](unsigned char byte) { return byte < 0x20 || byte == 0x7f; });
}

qrb::Error invalidName(QRBSourceControlErrorCode code, const qrb::String& name) {
  return QRBSourceControlError_LocationNotFound(code, name,
                                                "The name is none that a folder of the repository can have.");
}

qrb::Error pathOfBranch(const QRBSourceControlBranch& branch, const SubversionLayout& layout, std::string& path) {
  if (!layout.isCompleteForBranches()) return QRBSourceControlError_BranchAndTagLocationsRequired();
  std::string_view name = branch.name().view();
  std::string_view primaryName = std::string_view(layout.primary).substr(layout.primary.rfind('/') + 1);
  if (branch.isPrimaryBranch() || name == primaryName) {
    path = layout.primary;
    return {};
  }
  if (!isPlainName(name)) return invalidName(QRBSourceControlErrorCode::branchNotFound, branch.name());
  path = joined(layout.branches, name);
  return {};
}

}  // namespace

std::string_view subversionTrimmed(std::string_view path) {
  while (path.starts_with('/')) path.remove_prefix(1);
  while (path.ends_with('/')) path.remove_suffix(1);
  return path == "." ? std::string_view() : path;
}

std::optional<std::string_view> subversionBelow(std::string_view path, std::string_view folder) {
  if (folder.empty()) return path.empty() ? std::nullopt : std::optional(path);
  bool isBelow = path.size() > folder.size() + 1 && path.starts_with(folder) && path[folder.size()] == '/';
  return isBelow ? std::optional(path.substr(folder.size() + 1)) : std::nullopt;
}

SubversionLayout SubversionLayout::of(const QRBSourceControlBranchAndTagLocationsPtr& locations) {
  if (!locations) return {};
  return {textOf(locations->relativePrimaryBranchLocation()), textOf(locations->relativeBranchesLocation()),
          textOf(locations->relativeTagsLocation())};
}

QRBSourceControlBranchAndTagLocationsPtr SubversionLayout::locations() const {
  return QRBSourceControlBranchAndTagLocations::locationsWithPrimaryBranchPath(
      subversionEncoded(primary), subversionEncoded(branches), subversionEncoded(tags));
}

QRBSourceControlBranchPtr SubversionLayout::branchAt(std::string_view path) const {
  if (path.empty()) return nullptr;
  if (path == primary) return QRBSourceControlBranch::initWithBranchName(path.substr(path.rfind('/') + 1), true);
  auto name = branches.empty() ? std::nullopt : subversionBelow(path, branches);
  return name ? QRBSourceControlBranch::initWithBranchName(*name, false) : nullptr;
}

QRBSourceControlRevisionLocationPtr SubversionLayout::locationOf(std::string_view path) const {
  if (auto branch = branchAt(path)) return branch;
  if (auto name = tags.empty() ? std::nullopt : subversionBelow(path, tags)) {
    return QRBSourceControlTag::initWithTagName(*name);
  }
  if (path.empty()) return QRBSourceControlPathLocation::rootPathLocation();
  return QRBSourceControlPathLocation::initWithRelativePath(subversionEncoded(path) + "/");
}

SubversionLayout subversionDetectLayout(std::string_view path, const SubversionFolders& folders) {
  for (std::size_t begin = 0; begin < path.size();) {
    std::size_t end = std::min(path.find('/', begin), path.size());
    if (isLayoutFolder(path.substr(begin, end - begin))) {
      SubversionLayout layout = layoutIn(subversionTrimmed(path.substr(0, begin)), folders);
      if (layout.isCompleteForBranches()) return layout;
    }
    begin = end + 1;
  }
  for (std::string_view project = path;; project = parentOf(project)) {
    SubversionLayout layout = layoutIn(project, folders);
    if (layout.isCompleteForBranches() || project.empty()) return layout;
  }
}

SubversionLayout subversionLayoutAlong(std::string_view path) {
  for (std::size_t begin = 0; begin < path.size();) {
    std::size_t end = std::min(path.find('/', begin), path.size());
    std::string_view project = subversionTrimmed(path.substr(0, begin));
    std::string name(path.substr(begin, end - begin));
    SubversionLayout layout = layoutIn(project, [&](const std::string&) { return std::vector{name}; });
    if (isLayoutFolder(name)) {
      // Who stands in a tag tells as much as who stands in a branch.
      return layout.isCompleteForBranches()
                 ? layout
                 : SubversionLayout{joined(project, "trunk"), joined(project, "branches"), joined(project, name)};
    }
    begin = end + 1;
  }
  return {};
}

bool subversionNeedsLayout(const QRBSourceControlRevisionLocationPtr& location) {
  return dynamic_cast<const QRBSourceControlBranch*>(location.get()) != nullptr ||
         dynamic_cast<const QRBSourceControlTag*>(location.get()) != nullptr;
}

qrb::Error subversionPathOf(const QRBSourceControlRevisionLocationPtr& location, const SubversionLayout& layout,
                            std::string& path) {
  path.clear();
  if (const auto* const branch = dynamic_cast<const QRBSourceControlBranch*>(location.get())) {
    return pathOfBranch(*branch, layout, path);
  }
  if (const auto* const tag = dynamic_cast<const QRBSourceControlTag*>(location.get())) {
    if (layout.tags.empty()) return QRBSourceControlError_BranchAndTagLocationsRequired();
    if (!isPlainName(tag->name().view())) return invalidName(QRBSourceControlErrorCode::tagNotFound, tag->name());
    path = joined(layout.tags, tag->name().view());
    return {};
  }
  const auto* const place = dynamic_cast<const QRBSourceControlPathLocation*>(location.get());
  if (place == nullptr || place->isRootPath()) return {};
  path = subversionDecoded(subversionTrimmed(place->relativePath().view()));
  return isPlainName(path) ? qrb::Error() : invalidName(QRBSourceControlErrorCode::pathNotFound, place->relativePath());
}
