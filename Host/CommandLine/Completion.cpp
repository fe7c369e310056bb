#include "Completion.h"

#include <algorithm>
#include <ostream>

namespace host {

namespace {

using Value = OptionDeclaration::Value;

void writeWord(std::ostream& output, std::string_view beginning, std::string_view word, std::string_view meaning) {
  if (word.starts_with(beginning)) output << word << "\t" << meaning << "\n";
}

void writeValue(std::ostream& output, const OptionDeclaration& option) {
  output << (option.value == Value::file ? "files" : option.value == Value::folder ? "folders" : "") << "\n";
}

// Where a command line has come to: what has been named and given, and what is still open.
class Position {
 public:
  explicit Position(const Program& program) : _program(program), _root(program.declaration()) {}

  void pass(const std::string& word) {
    // Some shells make a word of the "=" between an option and its value.
    if (_awaited != nullptr && word == "=") return;
    if (_awaited != nullptr) {
      _awaited = nullptr;
    } else if (!_onlyArguments && word == "--") {
      _onlyArguments = true;
    } else if (!_onlyArguments && word.size() > 1 && word.starts_with('-')) {
      passOption(word);
    } else if (!_command) {
      if (const Command* named = _program.commandNamed(word)) _command = _program.declarationOf(*named);
    } else if (awaitsAction()) {
      _action = _command->actionNamed(word);
    } else {
      ++_argumentCount;
    }
  }

  void write(std::ostream& output, const std::string& word) const {
    if (_awaited != nullptr) return writeValue(output, *_awaited);
    if (!_onlyArguments && word.starts_with('-')) return writeOption(output, word);
    if (_command && !awaitsAction()) return writeArgument(output);
    output << "\n";
    if (_command) {
      for (const CommandDeclaration& action : _command->actions) writeWord(output, word, action.name, action.summary);
    } else {
      for (const Command* command : _program.commands) writeWord(output, word, command->name, command->summary);
      writeOptionNames(output, _root, word);
    }
  }

 private:
  bool awaitsAction() const { return _command && !_command->actions.empty() && _action == nullptr; }
  const CommandDeclaration& declaration() const { return _command ? *_command : _root; }

  const OptionDeclaration* optionNamed(std::string_view name) const {
    const OptionDeclaration* option = _action == nullptr ? nullptr : _action->optionNamed(name);
    return option == nullptr ? declaration().optionNamed(name) : option;
  }

  void passOption(const std::string& word) {
    bool isLong = word.starts_with("--");
    std::size_t value = word.find('=');
    // Short ones may be joined; the first that takes a value takes the rest of the word.
    for (std::size_t index = 1; index < (isLong ? 2 : word.size()); ++index) {
      const OptionDeclaration* option = optionNamed(isLong ? word.substr(0, value) : std::string{'-', word[index]});
      if (option == nullptr) continue;
      _given.push_back(option);
      if (option->value == Value::none) continue;
      if (isLong ? value == std::string::npos : index + 1 == word.size()) _awaited = option;
      return;
    }
  }

  bool isOpen(const OptionDeclaration& option) const {
    auto isGiven = [&](const OptionDeclaration* other) { return std::ranges::find(_given, other) != _given.end(); };
    return (option.takesSeveral() || !isGiven(&option)) && std::ranges::none_of(option.excluded, isGiven);
  }

  // The longer name of each, unless only the short one fits.
  void writeOptionNames(std::ostream& output, const CommandDeclaration& of, std::string_view beginning) const {
    for (const OptionDeclaration& option : of.options) {
      auto names = option.eachName();
      std::string_view name = names.back().starts_with(beginning) ? names.back() : names.front();
      if (!option.isArgument() && isOpen(option)) writeWord(output, beginning, name, option.summary);
    }
  }

  void writeOption(std::ostream& output, const std::string& word) const {
    std::size_t value = word.find('=');
    const OptionDeclaration* option = value == std::string::npos ? nullptr : optionNamed(word.substr(0, value));
    if (option != nullptr) return writeValue(output, *option);
    output << "\n";
    writeOptionNames(output, declaration(), word);
    if (_action != nullptr) writeOptionNames(output, *_action, word);
  }

  void writeArgument(std::ostream& output) const {
    std::size_t passed = 0;
    for (const OptionDeclaration& option : (_action == nullptr ? *_command : *_action).options) {
      if (!option.isArgument()) continue;
      bool isNext = passed++ == _argumentCount || option.takesSeveral();
      if (isNext && isOpen(option)) return writeValue(output, option);
    }
    output << "\n";
  }

  const Program& _program;
  const CommandDeclaration _root;
  std::optional<CommandDeclaration> _command;
  const CommandDeclaration* _action = nullptr;
  /// The option whose value comes next.
  const OptionDeclaration* _awaited = nullptr;
  std::vector<const OptionDeclaration*> _given;
  std::size_t _argumentCount = 0;
  bool _onlyArguments = false;
};

}  // namespace

void writeCompletions(std::ostream& output, const Program& program, std::span<const std::string> words) {
  if (words.empty()) return;
  Position position(program);
  for (const std::string& word : words.first(words.size() - 1)) position.pass(word);
  position.write(output, words.back());
}

}  // namespace host
