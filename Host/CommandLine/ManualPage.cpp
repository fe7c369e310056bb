#include "ManualPage.h"

#include <algorithm>
#include <istream>
#include <map>
#include <ostream>
#include <stdexcept>

namespace host {

namespace {

using Value = OptionDeclaration::Value;

// As text that the typesetter leaves alone.
std::string plain(std::string_view text) {
  std::string written;
  for (char each : text) {
    switch (each) {
      case '\\':
        written += "\\e";
        break;
      case '-':
        written += "\\-";
        break;
      case '\'':
        written += "\\(aq";
        break;
      case '`':
        written += "\\(ga";
        break;
      case '^':
        written += "\\(ha";
        break;
      case '~':
        written += "\\(ti";
        break;
      default:
        written += each;
    }
  }
  return written;
}

std::string bold(std::string_view text) {
  return "\\fB" + plain(text) + "\\fR";
}
std::string italic(std::string_view text) {
  return "\\fI" + plain(text) + "\\fR";
}

std::string written(const OptionDeclaration& option, const char* between) {
  if (option.isArgument()) {
    bool needsDots = option.takesSeveral() && option.valueName.empty();
    return italic(option.names) + plain(needsDots ? "..." : option.valueName);
  }
  std::string text;
  for (std::string_view name : option.eachName()) text += (text.empty() ? "" : between) + bold(name);
  return option.value == Value::none ? text : text + " " + italic(option.valueName);
}

void writeOptions(std::ostream& output, const CommandDeclaration& declaration, bool common) {
  for (const OptionDeclaration& option : declaration.options) {
    if (option.isCommon != common) continue;
    output << ".TP\n" << written(option, ", ") << "\n" << plain(option.summary) << ".\n";
  }
}

// Lines that are set in stay as they are, the others are filled.
void writeDetails(std::ostream& output, std::string_view details) {
  bool isExample = false;
  while (!details.empty()) {
    std::size_t end = std::min(details.find('\n'), details.size());
    std::string_view line = details.substr(0, end);
    details.remove_prefix(std::min(end + 1, details.size()));
    if (line.starts_with("  ") != isExample) output << (isExample ? ".fi\n" : ".nf\n");
    isExample = line.starts_with("  ");
    output << (line.empty() ? ".PP" : "\\&" + plain(line)) << "\n";
  }
  if (isExample) output << ".fi\n";
}

void writeCommand(std::ostream& output, const std::string& name, const CommandDeclaration& declaration) {
  output << ".SS " << plain(name) << "\n" << bold(name);
  for (bool isForArguments : {false, true}) {
    for (const OptionDeclaration& option : declaration.options) {
      if (option.isCommon || option.isArgument() != isForArguments) continue;
      std::string text = written(option, "|");
      output << " " << (option.isRequired ? text : "[" + text + "]");
    }
  }
  if (!declaration.actions.empty()) output << " " << (declaration.run ? "[\\fIACTION\\fR]" : "\\fIACTION\\fR");
  output << "\n.PP\n" << plain(declaration.summary) << ".\n.PP\n";
  std::size_t examples = std::min(declaration.details.find("Examples:\n"), declaration.details.size());
  writeDetails(output, declaration.details.substr(0, examples));
  writeOptions(output, declaration, false);
  output << ".PP\n";
  writeDetails(output, declaration.details.substr(examples));
  for (const CommandDeclaration& action : declaration.actions)
    writeCommand(output, name + " " + std::string(action.name), action);
}

}  // namespace

void writeManualPage(std::ostream& output, const Program& program, std::istream& page) {
  std::map<std::string, std::function<void()>> parts;
  parts["@PROGRAM_OPTIONS@"] = [&] { writeOptions(output, program.declaration(), false); };
  parts["@COMMON_OPTIONS@"] = [&] { writeOptions(output, program.declarationOf(*program.commands.front()), true); };
  parts["@COMMANDS@"] = [&] {
    for (const Command* each : program.commands) writeCommand(output, each->name, program.declarationOf(*each));
  };
  for (std::string line; std::getline(page, line);) {
    if (auto part = parts.extract(line)) {
      part.mapped()();
    } else {
      output << line << "\n";
    }
  }
  if (!parts.empty()) throw std::runtime_error("the page has no line " + parts.begin()->first);
}

}  // namespace host
