#include "CommandDeclaration.h"

#include <algorithm>

namespace host {

OptionDeclaration& OptionDeclaration::takes(Value kind, std::string_view name) {
  value = kind;
  valueName = name;
  return *this;
}

OptionDeclaration& OptionDeclaration::required() {
  isRequired = true;
  return *this;
}

OptionDeclaration& OptionDeclaration::between(int fewest, int most) {
  count = {fewest, most};
  return *this;
}

OptionDeclaration& OptionDeclaration::excludes(OptionDeclaration& other) {
  excluded.push_back(&other);
  other.excluded.push_back(this);
  return *this;
}

OptionDeclaration& OptionDeclaration::checkedBy(Check whatIsWrong) {
  check = std::move(whatIsWrong);
  return *this;
}

std::vector<std::string_view> OptionDeclaration::eachName() const {
  std::vector<std::string_view> each;
  for (std::string_view rest = names; !rest.empty();) {
    std::size_t end = std::min(rest.find(','), rest.size());
    each.push_back(rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return each;
}

OptionDeclaration& CommandDeclaration::flag(std::string_view optionNames, bool& target, std::string_view line) {
  return add(optionNames, &target, line, OptionDeclaration::Value::none);
}

OptionDeclaration& CommandDeclaration::add(std::string_view optionNames, OptionDeclaration::Target target,
                                           std::string_view line, OptionDeclaration::Value value) {
  OptionDeclaration& option = options.emplace_back();
  option.names = optionNames;
  option.target = target;
  option.summary = line;
  option.value = value;
  return option;
}

CommandDeclaration& CommandDeclaration::action(std::string_view actionName, std::string_view line, Run runAction) {
  CommandDeclaration& added = actions.emplace_back(actionName, line);
  added.run = std::move(runAction);
  return added;
}

const OptionDeclaration* CommandDeclaration::optionNamed(std::string_view optionName) const {
  for (const OptionDeclaration& option : options) {
    auto names = option.eachName();
    if (!option.isArgument() && std::find(names.begin(), names.end(), optionName) != names.end()) return &option;
  }
  return nullptr;
}

const CommandDeclaration* CommandDeclaration::actionNamed(std::string_view actionName) const {
  auto isNamed = [&](const CommandDeclaration& action) { return action.name == actionName; };
  auto found = std::find_if(actions.begin(), actions.end(), isNamed);
  return found == actions.end() ? nullptr : &*found;
}

}  // namespace host
