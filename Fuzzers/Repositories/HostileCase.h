#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "FileTree.h"

namespace qrb::hostile {

/// Where the parts of one repository lie in a case's folder; relative to it.
struct Place {
  /// The folder that is looked at; of a bare repository that itself.
  std::string root;
  /// With HEAD and the index.
  std::string git;
  /// With configuration, refs and objects; the same where there is one working copy only.
  std::string common;
};

/// A small valid repository in one of the layouts that git knows, and what lies around it.
struct Template {
  std::string name;
  FileTree tree;
  /// What is looked at comes first, then its submodules.
  std::vector<Place> places;
};

/// The templates, made by git with the same objects each time. Those are the tracked files of all: "file" with two
/// revisions, "other" and "folder/inner", and the branches main and side. "victim" beside the repository is a folder
/// that nobody may change. Throws std::runtime_error where git fails.
std::vector<Template> makeTemplates();

/// The names of the revisions that every template has; known once there are templates.
struct TemplateRevisions {
  static const std::string& head();
  static const std::string& parent();
};

const Template& templateNamed(const std::vector<Template>& templates, const std::string& name);

/// A repository made hostile.
struct HostileCase {
  /// What has been done to which template, for people.
  std::string description;
  FileTree tree;
  std::vector<Place> places;
};

/// A case of a campaign: the same for the same seed and number. The first `recipeCount()` are tricks that have been
/// known to work, the next `singleCount()` one change each, all others are several changes at random.
HostileCase makeCase(const std::vector<Template>& templates, std::uint64_t seed, std::uint64_t number);

std::size_t recipeCount();
std::size_t singleCount();

/// The folder of every case that is looked at, and one beside it that requests may write to.
inline constexpr const char* repositoryFolder = "repository";
inline constexpr const char* exportFolder = "export";
inline constexpr const char* victimFolder = "victim";

}  // namespace qrb::hostile
