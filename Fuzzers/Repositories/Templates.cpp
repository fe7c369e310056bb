#include <algorithm>
#include <filesystem>
#include <stdexcept>

#include "GitRepository.h"
#include "HostileCase.h"

namespace qrb::hostile {
namespace {

std::string root = repositoryFolder;
const std::string entry = root + "/.git";

std::string& headName() {
  static std::string name;
  return name;
}

std::string& parentName() {
  static std::string name;
  return name;
}

FileTree treeOf(const test::GitRepository& repository) {
  FileTree tree = FileTree::read(std::filesystem::path(repository.root()).parent_path());
  // Of the old length, so that only the content tells that it has changed.
  tree.file(root + "/file", "2wo\n");
  return tree;
}

/// What lies around every repository.
void addSurroundings(FileTree& tree) {
  tree.file("evil.sh", "#!/bin/sh\n: >@MARK@\n", 0755);
  tree.program("evil");
  tree.program(root + "/evil");
  tree.folder(exportFolder);
  std::string victim = victimFolder;
  for (const char* name : {"file", "other", "folder/inner", ".gitattributes"}) {
    tree.file(victim + "/" + name, "precious\n");
  }
}

void makeHistory(test::GitRepository& repository) {
  repository.write("file", "one\n");
  repository.write("other", "one\n");
  repository.write("folder/inner", "one\n");
  parentName() = repository.commit("one");
  repository.write("file", "two\n");
  headName() = repository.commit("two");
  repository.run({"branch", "side", "HEAD^"});
  repository.run({"tag", "v1", "HEAD^"});
  repository.run({"update-ref", "refs/remotes/origin/main", "HEAD^"});
  repository.run({"config", "remote.origin.url", "../elsewhere"});
  repository.run({"config", "remote.origin.fetch", "+refs/heads/*:refs/remotes/origin/*"});
  repository.run({"config", "branch.main.remote", "origin"});
  repository.run({"config", "branch.main.merge", "refs/heads/main"});
  repository.run({"pack-refs", "--all", "--no-prune"});
  repository.run({"repack", "-a", "-d", "-q"});
}

/// Its object names go into a commit above, its repository into the working copy.
void addSubmodule(test::GitRepository& repository) {
  std::string path = repository.pathOf("sub");
  auto git = [&](std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"-C", path});
    repository.run(arguments);
  };
  std::filesystem::create_directory(path);
  git({"init", "--quiet", "--initial-branch=main", "--template="});
  repository.write("sub/file", "two\n");
  git({"add", "."});
  git({"commit", "--quiet", "--message", "one"});
  repository.write(".gitmodules", "[submodule \"sub\"]\n\tpath = sub\n\turl = ../elsewhere\n");
  repository.run({"-c", "advice.addEmbeddedRepo=false", "add", "--all"});
  repository.commitStaged("three");
  repository.write("sub/file", "2wo\n");
}

Template linkedWorktree(FileTree tree) {
  tree.copy(root, "main");
  tree.remove(entry);
  std::string git = "main/.git/worktrees/" + root;
  tree.file(git + "/HEAD", "ref: refs/heads/side\n");
  tree.file(git + "/commondir", "../..\n");
  tree.file(git + "/gitdir", "@CASE@/" + entry + "\n");
  tree.copy("main/.git/index", git + "/index");
  tree.file(entry, "gitdir: @CASE@/" + git + "\n");
  return {"linked worktree", tree, {{root, git, "main/.git"}}};
}

Template bare(FileTree tree) {
  tree.move(entry, "aside");
  tree.remove(root);
  tree.move("aside", root);
  tree.append(root + "/config", "[core]\n\tbare = true\n");
  return {"bare", tree, {{root, root, root}}};
}

Template bareBeside(FileTree tree) {
  tree.copy(entry, root + "/bare");
  for (const std::string& name : tree.namesIn(entry)) tree.copy(entry + "/" + name, root + "/" + name);
  return {"bare beside .git", tree, {{root, entry, entry}, {root, root, root}}};
}

Template commonDirectory(FileTree tree) {
  for (const char* name : {"config", "objects", "refs", "packed-refs", "info"}) {
    tree.move(entry + "/" + name, std::string("store/") + name);
  }
  tree.file(entry + "/commondir", "../../store\n");
  return {"commondir", tree, {{root, entry, "store"}}};
}

Template pointer(FileTree tree) {
  tree.move(entry, root + "/real");
  tree.file(entry, "gitdir: real\n");
  return {"pointer", tree, {{root, root + "/real", root + "/real"}}};
}

Template submodule(FileTree tree) {
  std::string git = entry + "/modules/sub";
  tree.move(root + "/sub/.git", git);
  tree.append(git + "/config", "[core]\n\tworktree = ../../../sub\n");
  tree.file(root + "/sub/.git", "gitdir: ../.git/modules/sub\n");
  return {"submodule", tree, {{root, entry, entry}, {root + "/sub", git, git}}};
}

}  // namespace

const std::string& TemplateRevisions::head() {
  return headName();
}

const std::string& TemplateRevisions::parent() {
  return parentName();
}

const Template& templateNamed(const std::vector<Template>& templates, const std::string& name) {
  auto found = std::ranges::find(templates, name, &Template::name);
  if (found == templates.end()) throw std::runtime_error("there is no template " + name);
  return *found;
}

std::vector<Template> makeTemplates() {
  test::GitRepository repository({"--template="});
  makeHistory(repository);
  FileTree tree = treeOf(repository);
  addSurroundings(tree);
  addSubmodule(repository);
  FileTree withSubmodule = treeOf(repository);
  addSurroundings(withSubmodule);
  return {{"plain", tree, {{root, entry, entry}}},
          linkedWorktree(tree),
          submodule(withSubmodule),
          {"embedded submodule",
           withSubmodule,
           {{root, entry, entry}, {root + "/sub", root + "/sub/.git", root + "/sub/.git"}}},
          bare(tree),
          bareBeside(tree),
          commonDirectory(tree),
          pointer(tree)};
}

}  // namespace qrb::hostile
