// Cleans up after a request that was killed, failed, or has lost its host: a process beside it, which nothing can end
// that ends the request. It is told on standard input what it would have to do; the end of standard input, unless that
// was taken back before, makes it do so as soon as the processes at work are gone. Each order and each answer is a
// line.
//
// "qrb-guard working-copy <path>", a leader of a session, claims the folder for a new working copy and would remove
// what is in it. It answers "claimed"; "occupied" where something is there already, which is then nobody's to remove;
// or "refused <why>". Orders: "group <number>", the process group at work in the folder; "keep", which ends the guard.
//
// "qrb-guard jobs", a member of the process group at work, would run programs. It answers "ready". Orders: "job
// <number> <bytes of the input> <bytes of each argument>...", followed by the bytes of the arguments and of the input;
// "withdraw <number>"; "done", which ends the guard.

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <string_view>

#include "Claim.h"
#include "Jobs.h"
#include "Orders.h"
#include "Waiting.h"

namespace {

/// What follows a word at the beginning of a line; none where another stands there.
std::optional<std::string_view> after(std::string_view word, const std::string& line) {
  if (!line.starts_with(word)) return std::nullopt;
  return std::string_view(line).substr(word.size());
}

int numberIn(std::string_view text) {
  int number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

int guardWorkingCopy(const char* path) {
  Claim claim(path);
  switch (claim.take()) {
    case Claim::Outcome::claimed:
      say("claimed");
      break;
    case Claim::Outcome::occupied:
      say("occupied");
      claim.removeMadeFolders();
      return 0;
    case Claim::Outcome::refused:
      claim.removeMadeFolders();
      say("refused " + claim.reason());
      return 1;
  }
  pid_t group = 0;
  Orders orders;
  while (auto order = orders.nextLine()) {
    if (*order == "keep") return 0;
    if (auto number = after("group ", *order)) group = numberIn(*number);
  }
  if (group > 1) awaitEndOfGroup(group);
  claim.giveUp();
  return 0;
}

/// In a session of its own, where nobody kills it half-way. This process stays in the group meanwhile, so that the
/// host's waiting for the group is a waiting for the jobs, as long as it goes on.
void runAside(const Jobs& jobs) {
  pid_t group = ::getpgrp();
  pid_t self = ::getpid();
  pid_t worker = ::fork();
  if (worker <= 0) {
    if (worker == 0) ::setsid();
    if (awaitEndOfGroup(group, self)) jobs.run();
    ::_exit(0);
  }
  while (::waitpid(worker, nullptr, 0) < 0 && errno == EINTR) {
  }
}

int guardWork() {
  Jobs jobs;
  Orders orders;
  say("ready");
  while (auto order = orders.nextLine()) {
    if (*order == "done") return 0;
    if (auto job = after("job ", *order)) {
      if (!jobs.add(*job, orders)) break;
    } else if (auto number = after("withdraw ", *order)) {
      jobs.withdraw(numberIn(*number));
    }
  }
  runAside(jobs);
  return 0;
}

}  // namespace

int main(int count, char** arguments) {
  for (int signal : {SIGTERM, SIGHUP, SIGINT, SIGPIPE}) ::signal(signal, SIG_IGN);
  std::string_view kind = count > 1 ? arguments[1] : "";
  if (count == 3 && kind == "working-copy" && arguments[2][0] == '/') return guardWorkingCopy(arguments[2]);
  if (count == 2 && kind == "jobs") return guardWork();
  std::fputs("usage: qrb-guard working-copy <absolute path>, or qrb-guard jobs\n", stderr);
  return 2;
}
