#pragma once

#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "FileDescriptor.h"
#include "Process.h"

namespace qrb {

/// A running `qrb-guard`, which cleans up after this process or one that it has launched: orders and answers are lines.
/// The end of this object, or of the process that has it, is the end of the orders. One thread at a time.
class GuardProcess {
 public:
  /// Where it stands.
  enum class Place { ownSession, callersGroup };

  /// `arguments` follow the program's name. A descriptor that is lent stays open in the guard and in what it starts; -1
  /// is none.
  static std::variant<GuardProcess, LaunchFailure> launch(const std::string& program,
                                                          const std::vector<std::string>& arguments, Place place,
                                                          int lentDescriptor = -1);

  /// The next answer; what came of it where the guard has ended.
  std::string answer();
  /// A line and the bytes that belong to it. What nobody reads any more is lost.
  void order(const std::string& line, std::string_view bytes = {});
  void endOrders();
  /// Returns when the guard has ended. To be called after endOrders() or the order that ends it.
  void awaitEnd();
  /// The process, for who sees to its end.
  Process takeProcess() { return std::move(_process); }

 private:
  GuardProcess(Process process, FileDescriptor connection)
      : _process(std::move(process)), _connection(std::move(connection)) {}

  Process _process;
  FileDescriptor _connection;
};

}  // namespace qrb
