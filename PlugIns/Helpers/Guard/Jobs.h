#pragma once

#include <list>
#include <string>
#include <string_view>
#include <vector>

#include "Orders.h"

/// What is to be done after the process that is guarded was killed: programs to run one after the other.
class Jobs {
 public:
  /// Takes one that was announced as "job <number> <bytes of the input> <bytes of each argument>...", with its bytes.
  /// False where they are not all there, or the line is of another form.
  bool add(std::string_view announcement, Orders& orders);
  void withdraw(int number);
  /// Runs them in the order in which they came, and waits for each.
  void run() const;

 private:
  struct Job {
    int number = 0;
    std::vector<std::string> arguments;
    std::string input;
  };
  static void run(const Job& job);

  std::list<Job> _jobs;
};
