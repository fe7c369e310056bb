#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "GitCommands.h"
#include "GitRepository.h"

struct GitTestResult {
  int exitCode = -1;
  std::string output;
  std::string errorOutput;
};

/// A repository in which git runs with the environment that the product gives it.
class GitTestRepository : public qrb::test::GitRepository {
 public:
  std::filesystem::path root() const { return GitRepository::root(); }

  /// Runs git with the arguments as they are.
  GitTestResult run(const std::vector<std::string>& arguments, std::string_view input = {}) const {
    return run(arguments, GitAccess::write, input);
  }
  GitTestResult run(const GitCommand& command, std::string_view input = {}) const {
    EXPECT_TRUE(command) << command.refusal;
    return run(command.arguments, command.access, input);
  }
  /// Runs git, which must succeed; its output without the line feed at the end.
  std::string git(const std::vector<std::string>& arguments, std::string_view input = {}) const {
    GitTestResult result = run(arguments, input);
    EXPECT_EQ(result.exitCode, 0) << ::testing::PrintToString(arguments) << result.errorOutput;
    if (result.output.ends_with('\n')) result.output.pop_back();
    return result.output;
  }
  /// Makes a commit of these raw bytes, headers included; its object name.
  std::string commitRaw(std::string_view bytes) const {
    return git({"hash-object", "-t", "commit", "-w", "--literally", "--stdin"}, bytes);
  }

 private:
  GitTestResult run(std::vector<std::string> arguments, GitAccess access, std::string_view input) const {
    std::vector<std::string> user = environment();
    std::vector<const char*> inherited;
    for (const std::string& variable : user) inherited.push_back(variable.c_str());
    arguments.insert(arguments.begin(), "git");
    GitTestResult result;
    auto ran = qrb::test::runProgram(arguments, gitEnvironment(inherited, access, GitOutput::blocks), root().string(),
                                     input, &result.errorOutput);
    result.exitCode = ran.status;
    result.output = ran.output;
    return result;
  }
};
