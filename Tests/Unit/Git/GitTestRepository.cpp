#include "GitTestRepository.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <iterator>

namespace {

std::string readFile(const std::filesystem::path& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

void writeFile(const std::filesystem::path& path, std::string_view content) {
  std::ofstream stream(path, std::ios::binary | std::ios::trunc);
  stream.write(content.data(), static_cast<std::streamsize>(content.size()));
  ASSERT_TRUE(stream.good()) << path;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
  std::vector<char*> result;
  for (std::string& text : texts) result.push_back(text.data());
  result.push_back(nullptr);
  return result;
}

void redirect(const std::filesystem::path& path, int flags, int descriptor) {
  int file = ::open(path.c_str(), flags, 0600);
  if (file < 0 || ::dup2(file, descriptor) < 0) ::_exit(126);
}

}  // namespace

GitTestRepository::GitTestRepository() {
  std::string name = (std::filesystem::temp_directory_path() / "git-tests-XXXXXX").string();
  if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
  _folder = std::filesystem::canonical(name);
  _root = _folder / "work";
  std::filesystem::create_directory(_root);
  git({"init", "-q", "-b", "main", "."});
}

GitTestRepository::~GitTestRepository() {
  std::error_code ignored;
  std::filesystem::remove_all(_folder, ignored);
}

GitTestResult GitTestRepository::run(const std::vector<std::string>& arguments, GitAccess access,
                                     std::string_view input) const {
  writeFile(_folder / "input", input);
  std::vector<std::string> argumentTexts{"git"};
  argumentTexts.insert(argumentTexts.end(), arguments.begin(), arguments.end());
  std::string time = std::to_string(_time) + " +0000";
  std::string path = std::string("PATH=") + ::getenv("PATH");
  std::string home = "HOME=" + _folder.string();
  std::string authorDate = "GIT_AUTHOR_DATE=" + time;
  std::string committerDate = "GIT_COMMITTER_DATE=" + time;
  const std::vector<const char*> inherited{path.c_str(),
                                           home.c_str(),
                                           authorDate.c_str(),
                                           committerDate.c_str(),
                                           "GIT_CONFIG_NOSYSTEM=1",
                                           "GIT_AUTHOR_NAME=Ann Author",
                                           "GIT_AUTHOR_EMAIL=ann@example.org",
                                           "GIT_COMMITTER_NAME=Ann Author",
                                           "GIT_COMMITTER_EMAIL=ann@example.org"};
  std::vector<std::string> environmentTexts = gitEnvironment(inherited, access, GitOutput::blocks);
  const std::vector<char*> argumentPointers = pointers(argumentTexts);
  const std::vector<char*> environmentPointers = pointers(environmentTexts);
  pid_t child = ::fork();
  if (child == 0) {
    redirect(_folder / "input", O_RDONLY, 0);
    redirect(_folder / "output", O_WRONLY | O_CREAT | O_TRUNC, 1);
    redirect(_folder / "errors", O_WRONLY | O_CREAT | O_TRUNC, 2);
    if (::chdir(_root.c_str()) != 0) ::_exit(126);
    ::execvpe("git", argumentPointers.data(), environmentPointers.data());
    ::_exit(127);
  }
  int status = 0;
  if (child < 0 || ::waitpid(child, &status, 0) != child) throw std::runtime_error("git could not be run");
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, readFile(_folder / "output"), readFile(_folder / "errors")};
}

GitTestResult GitTestRepository::run(const std::vector<std::string>& arguments, std::string_view input) const {
  return run(arguments, GitAccess::write, input);
}

GitTestResult GitTestRepository::run(const GitCommand& command, std::string_view input) const {
  EXPECT_TRUE(command) << command.refusal;
  return run(command.arguments, command.access, input);
}

std::string GitTestRepository::git(const std::vector<std::string>& arguments, std::string_view input) const {
  GitTestResult result = run(arguments, input);
  EXPECT_EQ(result.exitCode, 0) << ::testing::PrintToString(arguments) << result.errorOutput;
  if (result.output.ends_with('\n')) result.output.pop_back();
  return result.output;
}

void GitTestRepository::write(const std::string& path, std::string_view content) const {
  std::filesystem::create_directories((_root / path).parent_path());
  writeFile(_root / path, content);
}

std::string GitTestRepository::commit(const std::string& message) const {
  _time += 60;
  git({"add", "-A"});
  git({"commit", "-q", "--allow-empty", "--allow-empty-message", "--cleanup=verbatim", "-F", "-"}, message);
  return git({"rev-parse", "HEAD"});
}

std::string GitTestRepository::commitRaw(std::string_view bytes) const {
  return git({"hash-object", "-t", "commit", "-w", "--literally", "--stdin"}, bytes);
}
