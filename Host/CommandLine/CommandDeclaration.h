#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace host {

class Session;
enum class ExitStatus;

/// An option, flag or argument of a command. What refines it gives it back, so that calls can be chained. Its texts are
/// literals: they are not copied.
struct OptionDeclaration {
  /// Instead of a place for a value: the help, or the text given, is shown and nothing else done.
  struct Help {};
  struct Version {
    std::string_view text;
  };
  /// Where what the user says goes. A list takes several: of an option one each time it is given.
  using Target =
      std::variant<Help, Version, bool*, std::string*, std::vector<std::string>*, std::optional<std::int64_t>*>;
  enum class Value { none, text, file, folder };
  /// What is wrong with the value, nothing where it is well; it may write it in another form.
  using Check = std::function<std::string(std::string& value)>;

  /// What the value is called in the help; an argument's own name is its first word there.
  OptionDeclaration& text(std::string_view name = {}) { return takes(Value::text, name); }
  /// The value is a file or a folder, which shells complete.
  OptionDeclaration& file(std::string_view name = {}) { return takes(Value::file, name); }
  OptionDeclaration& folder(std::string_view name = {}) { return takes(Value::folder, name); }
  OptionDeclaration& required();
  /// How many values an argument takes.
  OptionDeclaration& between(int fewest, int most);
  /// Neither may be given with the other.
  OptionDeclaration& excludes(OptionDeclaration& other);
  OptionDeclaration& checkedBy(Check whatIsWrong);

  bool isArgument() const { return !names.starts_with('-'); }
  bool takesSeveral() const { return std::holds_alternative<std::vector<std::string>*>(target); }
  /// One by one, the short one first.
  std::vector<std::string_view> eachName() const;

  /// Separated by commas, an option's with their dashes.
  std::string_view names;
  Target target;
  std::string_view summary;
  Value value = Value::text;
  std::string_view valueName;
  bool isRequired = false;
  /// Whether every command has it.
  bool isCommon = false;
  std::optional<std::pair<int, int>> count;
  std::vector<const OptionDeclaration*> excluded;
  Check check;

 private:
  OptionDeclaration& takes(Value kind, std::string_view name);
};

/// What a command takes, and what it may be told to do. It holds for the parser, the help, the completion of shells and
/// the manual.
struct CommandDeclaration {
  using Run = std::function<ExitStatus(Session& session)>;

  CommandDeclaration(std::string_view commandName, std::string_view line, std::string_view more = {})
      : name(commandName), summary(line), details(more) {}

  OptionDeclaration& flag(std::string_view optionNames, bool& target, std::string_view line);
  /// The target keeps its value where the option is not given.
  template <class T>
  OptionDeclaration& option(std::string_view optionNames, T& target, std::string_view line) {
    return add(optionNames, &target, line, OptionDeclaration::Value::text);
  }
  /// Arguments are filled in the order in which they were declared.
  template <class T>
  OptionDeclaration& argument(std::string_view argumentName, T& target, std::string_view line) {
    return option(argumentName, target, line);
  }
  /// One of several things to do, with arguments of its own, as "accounts" has list, add, remove and test. The options
  /// of the command itself may follow it. A command that runs nothing by itself needs one of them.
  CommandDeclaration& action(std::string_view actionName, std::string_view line, Run runAction);
  /// Details and examples, shown at the end of the help. An action without any shows those of its command.
  void explain(std::string_view more) { details = more; }
  /// What is asked of the values together: `wrong` is called once they are read, and what it returns, unless it is
  /// empty, is told as wrong usage.
  void checkUsage(std::function<std::string()> wrong) { whatIsWrong = std::move(wrong); }

  OptionDeclaration& add(std::string_view optionNames, OptionDeclaration::Target target, std::string_view line,
                         OptionDeclaration::Value value);
  const OptionDeclaration* optionNamed(std::string_view optionName) const;
  const CommandDeclaration* actionNamed(std::string_view actionName) const;

  std::string_view name;
  /// One line for lists of commands.
  std::string_view summary;
  std::string_view details;
  std::list<OptionDeclaration> options;
  std::list<CommandDeclaration> actions;
  std::function<std::string()> whatIsWrong;
  Run run;
};

}  // namespace host
