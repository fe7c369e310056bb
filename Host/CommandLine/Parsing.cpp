// The one file that knows the library which parses command lines and writes the help. It costs seconds to compile.

#include "Parsing.h"

#include <CLI/CLI.hpp>
#include <sstream>
#include <type_traits>

#include "Text.h"

namespace host {

namespace {

CLI::Option* addTo(CLI::App& app, const OptionDeclaration& option) {
  std::string names(option.names);
  std::string summary(option.summary);
  return std::visit(
      [&](auto target) -> CLI::Option* {
        using Target = decltype(target);
        if constexpr (std::is_same_v<Target, OptionDeclaration::Help>) {
          return app.set_help_flag(names, summary);
        } else if constexpr (std::is_same_v<Target, OptionDeclaration::Version>) {
          return app.set_version_flag(names, std::string(target.text), summary);
        } else if constexpr (std::is_same_v<Target, bool*>) {
          return app.add_flag(names, *target, summary);
        } else {
          return app.add_option(names, *target, summary)->type_name(std::string(option.valueName));
        }
      },
      option.target);
}

CLI::Option* find(CLI::App& app, const OptionDeclaration& option) {
  return app.get_option(std::string(option.eachName().back()));
}

void addOptions(CLI::App& app, const CommandDeclaration& declaration) {
  for (const OptionDeclaration& option : declaration.options) {
    CLI::Option* added = addTo(app, option);
    if (option.isRequired) added->required();
    if (option.count) added->expected(option.count->first, option.count->second);
    // Else what follows the first value would be more of them.
    if (option.takesSeveral() && !option.isArgument()) added->allow_extra_args(false);
    if (option.check) added->transform(CLI::Validator(option.check, ""));
  }
  for (const OptionDeclaration& option : declaration.options) {
    for (const OptionDeclaration* other : option.excluded) find(app, option)->excludes(find(app, *other));
  }
  if (!declaration.whatIsWrong) return;
  app.parse_complete_callback([&declaration] {
    std::string wrong = declaration.whatIsWrong();
    if (!wrong.empty()) throw CLI::ValidationError(wrong, CLI::ExitCodes::ValidationError);
  });
}

CLI::App* addNamed(CLI::App& app, std::string_view name, std::string_view summary, std::string_view details) {
  CLI::App* added = app.add_subcommand(std::string(name), std::string(summary));
  if (!details.empty()) added->footer(std::string(details));
  return added;
}

void addWithActions(CLI::App& app, const CommandDeclaration& declaration) {
  CLI::App* command = addNamed(app, declaration.name, declaration.summary, declaration.details);
  addOptions(*command, declaration);
  if (!declaration.actions.empty()) command->require_subcommand(declaration.run ? 0 : 1, 1);
  for (const CommandDeclaration& each : declaration.actions) {
    CLI::App* action = addNamed(*command, each.name, each.summary, each.details);
    action->fallthrough();
    addOptions(*action, each);
  }
}

// Nothing but flags can stand before it, so that no value is taken for one.
const Command* commandIn(const Program& program, int argc, const char* const* argv) {
  for (int index = 1; index < argc; ++index) {
    if (const Command* command = program.commandNamed(argv[index])) return command;
  }
  return nullptr;
}

// The parser's own text, and what to do.
std::string refusal(const CLI::App& app, const CLI::ParseError& error) {
  std::string help = app.get_name();
  for (const CLI::App* command = &app; !command->get_subcommands().empty();) {
    command = command->get_subcommands().front();
    help += " " + command->get_name();
  }
  std::string what = error.what();
  // The parser misses a command before it looks at what stands in its place.
  if (app.get_subcommands().empty() && !app.remaining().empty()) {
    what = "there is no command or option \"" + app.remaining().front() + "\"";
  }
  return displayText(what) + "\nRun \"" + help + " --help\" to see what is understood.";
}

}  // namespace

ParsedCommandLine parseCommandLine(const Program& program, int argc, const char* const* argv) {
  CLI::App app(program.summary, program.name);
  CommandDeclaration root = program.declaration();
  addOptions(app, root);
  app.footer(program.details);
  app.require_subcommand(1);
  std::optional<CommandDeclaration> used;
  if (const Command* command = commandIn(program, argc, argv)) {
    addWithActions(app, used.emplace(program.declarationOf(*command)));
  } else {
    for (const Command* each : program.commands) addNamed(app, each->name, each->summary, each->details);
  }
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& wish) {
    std::ostringstream answer;
    app.exit(wish, answer, answer);
    return {nullptr, answer.str(), {}};
  } catch (const CLI::ParseError& error) {
    return {nullptr, {}, refusal(app, error)};
  }
  auto actions = app.get_subcommands().front()->get_subcommands();
  return {actions.empty() ? used->run : used->actionNamed(actions.front()->get_name())->run, {}, {}};
}

}  // namespace host
