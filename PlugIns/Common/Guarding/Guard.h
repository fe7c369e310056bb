#pragma once

#include <optional>
#include <string>
#include <vector>

#include "GuardProcess.h"

namespace qrb {

/// Has work cleaned up after that this process cannot finish because it is killed, which is how requests are cancelled:
/// a process in the same group waits for its end, and then, when nothing else of the group runs any more, runs the
/// jobs that it was given. One thread.
class Guard {
 public:
  /// A program and what it reads from standard input.
  struct Job {
    /// The first is the program's path.
    std::vector<std::string> arguments;
    std::string input = {};
  };
  /// A job that stands as long as this object.
  class Standing {
   public:
    Standing(Standing&& other) noexcept : _guard(std::exchange(other._guard, nullptr)), _number(other._number) {}
    Standing& operator=(Standing&&) = delete;
    ~Standing();

   private:
    friend class Guard;
    Standing(Guard* guard, int number) : _guard(guard), _number(number) {}
    Guard* _guard;
    int _number;
  };

  /// A descriptor that is lent stays open as long as there is something to clean up. Where no process can be made,
  /// nobody cleans up. To be made before the process enters a sandbox.
  explicit Guard(int lentDescriptor = -1, const std::string& program = programOfGuards());
  /// The work has come to its end, one way or another: returns when the other process is gone.
  ~Guard();
  Guard(const Guard&) = delete;
  Guard& operator=(const Guard&) = delete;

  /// To be run after those that stand already.
  [[nodiscard]] Standing add(const Job& job);

 private:
  static std::string programOfGuards();

  std::optional<GuardProcess> _process;
  int _lastNumber = 0;
};

}  // namespace qrb
