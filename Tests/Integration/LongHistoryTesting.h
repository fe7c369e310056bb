#pragma once

#include <filesystem>
#include <string>

#include "GitRepository.h"

namespace qrb::test {

/// A repository whose history is long enough to have everything in it that makes histories awkward: `count` commits on
/// main; every tenth begins a branch of three, every other of which is merged back; files that are changed, renamed,
/// deleted, binary, of odd names; annotated tags and plain ones; refs packed and loose; a working copy of its own for
/// one branch, and a submodule.
class LongHistory {
 public:
  explicit LongHistory(int count) {
    std::string stream;
    for (int number = 1; number <= count; ++number) {
      addCommit(stream, "main", number, number % 20 == 5 ? merged(number) : "");
      if (number % 10 == 0) addBranch(stream, number);
    }
    _repository.write("../stream", stream);
    ProgramResult result = runProgram({"sh", "-c", "exec git fast-import --quiet < ../stream"},
                                      _repository.environment(), _repository.root());
    if (result.status != 0) throw std::runtime_error(result.output);
    _repository.run({"reset", "-q", "--hard", "main"});
    _repository.run({"pack-refs", "--all"});
    _repository.run({"branch", "loose", "main~3"});
    _repository.run({"tag", "-a", "-m", "of a tag", "annotated", "main~5"});
    _repository.run({"tag", "-a", "-m", "of a tag", "twice", "annotated"});
    _repository.run({"tag", "plain/of/file", "main:counter"});
    _repository.run({"worktree", "add", "-q", _repository.beside("tree"), "side/10"});
    addSubmodule();
  }

  GitRepository& repository() { return _repository; }

 private:
  static std::string sideName(int number) { return "side/" + std::to_string(number); }
  /// The branch that began five commits ago.
  static std::string merged(int number) { return number > 10 ? "refs/heads/" + sideName(number - 5) : std::string(); }

  static void addFile(std::string& stream, const std::string& path, const std::string& content) {
    stream += "M 100644 inline " + path + "\ndata " + std::to_string(content.size()) + "\n" + content + "\n";
  }

  static void beginCommit(std::string& stream, const std::string& branch, long time, const std::string& message) {
    stream += "commit refs/heads/" + branch + "\ncommitter Ada Tester <ada@example.org> " + std::to_string(time) +
              " +0000\ndata " + std::to_string(message.size()) + "\n" + message + "\n";
  }

  static void addCommit(std::string& stream, const std::string& branch, int number, const std::string& second) {
    beginCommit(stream, branch, 1'600'000'000L + number * 60, "commit " + std::to_string(number));
    if (!second.empty()) stream += "merge " + second + "\n";
    std::string text;
    for (int line = 0; line < 40; ++line)
      text += "line " + std::to_string(line * (line == number % 40 ? number : 1)) + "\n";
    addFile(stream, "counter", std::to_string(number) + "\n");
    addFile(stream, "text", text);
    addFile(stream, "folder/" + std::to_string(number % 17), text + std::to_string(number));
    if (number % 7 == 0) addFile(stream, "binary", std::string("\0\1\2", 3) + std::to_string(number));
    if (number % 11 == 0) addFile(stream, "\"odd \\n \\\" \\377 name\"", "x\ny" + std::to_string(number) + "\xff");
    if (number == 13) stream += "R folder/3 moved/3\n";
    if (number == 29) stream += "D folder/4\n";
    if (number == 31) stream += "M 120000 inline link\ndata 4\ntext\n";
    if (number == 37) stream += "M 100644 inline link\ndata 4\ntext\n";
    if (number == 41) stream += "M 100755 inline folder/5\ndata 2\nx\n\n";
  }

  static void addBranch(std::string& stream, int number) {
    for (int step = 1; step <= 3; ++step) {
      beginCommit(stream, sideName(number), 1'600'000'000L + number * 60 + step, "side " + std::to_string(step));
      if (step == 1) stream += "from refs/heads/main\n";
      addFile(stream, "side-" + std::to_string(number), std::to_string(step));
    }
  }

  void addSubmodule() {
    GitRepository inner;
    inner.write("inner", "1");
    inner.commit("inner");
    _repository.run({"submodule", "--quiet", "add", inner.root(), "sub"});
    _repository.commit("with a submodule");
  }

  GitRepository _repository;
};

}  // namespace qrb::test
