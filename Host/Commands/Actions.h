#pragma once

#include "Command.h"

namespace host {

/// The actions of a command that has several, as "accounts" has list, add, remove and test: each is a subcommand with
/// arguments of its own, and one of them is chosen.
class Actions {
 public:
  /// `usual` is what the command does when none is named; without it one must be.
  explicit Actions(CLI::App& app, Command::Run usual = nullptr) : _app(app) {
    *_chosen = std::move(usual);
    _app.require_subcommand(*_chosen ? 0 : 1, 1);
  }

  /// One more; the options of the command itself may follow its own.
  CLI::App& add(const char* name, const char* summary, Command::Run run) {
    CLI::App* action = _app.add_subcommand(name, summary);
    action->fallthrough();
    action->callback([chosen = _chosen, run = std::move(run)] { *chosen = run; });
    return *action;
  }

  /// What runs the action that was chosen.
  Command::Run run() const {
    return [chosen = _chosen](Session& session) { return (*chosen)(session); };
  }

 private:
  CLI::App& _app;
  std::shared_ptr<Command::Run> _chosen = std::make_shared<Command::Run>();
};

}  // namespace host
