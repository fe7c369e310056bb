#include "Guard.h"

#include <utility>

#include "OwnProgram.h"

namespace qrb {

Guard::Guard(int lentDescriptor, const std::string& program) {
  auto launched = GuardProcess::launch(program, {"jobs"}, GuardProcess::Place::callersGroup, lentDescriptor);
  auto* process = std::get_if<GuardProcess>(&launched);
  // Before it says so, what ends the group would end it, too.
  if (process != nullptr && process->answer() == "ready") _process.emplace(std::move(*process));
}

Guard::~Guard() {
  if (!_process) return;
  _process->order("done");
  _process->takeProcess().wait();
}

Guard::Standing Guard::add(const Job& job) {
  int number = ++_lastNumber;
  std::string line = "job " + std::to_string(number) + " " + std::to_string(job.input.size());
  std::string bytes;
  for (const std::string& argument : job.arguments) {
    line += " " + std::to_string(argument.size());
    bytes += argument;
  }
  bytes += job.input;
  if (_process) _process->order(line, bytes);
  return {this, number};
}

Guard::Standing::~Standing() {
  if (_guard != nullptr && _guard->_process) _guard->_process->order("withdraw " + std::to_string(_number));
}

std::string Guard::programOfGuards() {
  return programBesideOwn("qrb-guard");
}

}  // namespace qrb
