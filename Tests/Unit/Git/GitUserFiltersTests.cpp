#include "GitUserFilters.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>

#include "GitTestRepository.h"

void PrintTo(const GitUserFilter& filter, std::ostream* stream) {
  *stream << filter.name << ": " << filter.command;
}

namespace {

struct Text {
  std::string text;
  /// It can be read without git.
  bool isPlain;
};

const Text texts[] = {
    {"", true},
    {"[user]\n\tname = N\n[core]\n\teditor = \"vi \\\"x\\\"\"\n", true},
    {"[filter \"lfs\"]\n\tclean = git-lfs clean -- %f\n\tsmudge = git-lfs smudge -- %f\n\tprocess = git-lfs "
     "filter-process\n\trequired = true\n",
     true},
    {"[FILTER \"Mixed Case\"]\r\n  CLEAN=cat\r\n  # clean = no\n\n[core]\n  clean = no\n", true},
    {"[filter \"a\"]\nclean =\n[other]\n[filter \"b\"]\n\tsmudge = b -x = y \n[filter \"a\"]\n\tclean = again\n", true},
    {"[filter \"a.b\"]\n\tclean = x\n\tcleanx = y\n", true},
    {"[alias]\n\tfilter = log\n", true},
    {"[filter \"a\"]\n\tclean\n", false},
    {"[filter \"a\"] clean = x\n", false},
    {"[filter.a]\n\tclean = x\n", false},
    {"[filter \"a\\\"b\"]\n\tclean = x\n", false},
    {"[filter \"a\"]\n\tclean = \"x y\"\n", false},
    {"[filter \"a\"]\n\tclean = x # y\n", false},
    {"[filter \"a\"]\n\tclean = x \\\n\ty\n", false},
    {"[user]\n\tname = \\\n[filter \"a\"]\n[filter \"b\"]\n\tclean = x\n", false},
    {"[include]\n\tpath = other\n", false},
};

// What is not seen would be forbidden to run, and what is seen without being there would be allowed to.
TEST(GitUserFiltersTest, WhatIsReadWithoutGitIsWhatGitReads) {
  GitTestRepository repository;
  for (const Text& row : texts) {
    SCOPED_TRACE(row.text);
    repository.write("configuration", row.text);
    GitCommand command = gitFiltersCommand();
    command.arguments.insert(std::ranges::find(command.arguments, "config") + 1, {"--file", "configuration"});
    auto read = gitPlainFilters(row.text);
    ASSERT_EQ(read.has_value(), row.isPlain);
    if (!read) continue;
    EXPECT_THAT(*read, testing::ContainerEq(gitUserFilters(repository.run(command).output)));
  }
}

}  // namespace
