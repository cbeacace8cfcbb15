#include "orvctl/document/CommandTable.h"

#include <fmt/format.h>

#include <cctype>
#include <sstream>
#include <string_view>

namespace orv::ctl {
namespace {

// Text in which no character means anything to Markdown.
std::string escaped(std::string_view text) {
  std::string out;
  for (const char c : text) {
    if (std::ispunct(static_cast<unsigned char>(c)) != 0)
      out += '\\';
    out += c;
  }
  return out;
}

std::string bold(std::string_view text) {
  return "**" + escaped(text) + "**";
}

std::string heading(const std::string& name) {
  return "\n## " + name + "\n\n";
}

std::string argumentText(const CommandOption& argument) {
  const std::string text = fmt::format("*{}*{}", escaped(argument.value),
                                       argument.repeats ? escaped("...") : std::string());
  return argument.isRequired ? text : escaped("[") + text + escaped("]");
}

// One way to call the command.
std::string synopsis(const CommandEntry& command) {
  std::string text = bold(command.name);
  if (!command.options.empty())
    text += fmt::format(" {}*OPTION*{}", escaped("["), escaped("]..."));
  for (const CommandOption& option : command.options)
    if (option.isRequired)
      text += fmt::format(" {} *{}*", bold(option.names.back()), escaped(option.value));
  for (const CommandOption& argument : command.positionals)
    text += " " + argumentText(argument);
  if (!command.commands.empty())
    text += " *COMMAND*";
  return text + "\n\n";
}

std::string definition(const std::string& term, std::string_view text) {
  return term + "\n\n:   " + escaped(text) + "\n\n";
}

std::string optionTerm(const CommandOption& option) {
  std::string term;
  for (const std::string& name : option.names)
    term += (term.empty() ? "" : ", ") + bold(name);
  return option.value.empty() ? term : term + " *" + escaped(option.value) + "*";
}

std::string optionList(const CommandEntry& command) {
  std::string text;
  for (const CommandOption& argument : command.positionals)
    text += definition("*" + escaped(argument.value) + "*", argument.description);
  for (const CommandOption& option : command.options)
    text += definition(optionTerm(option), option.description);
  return text;
}

// The commands below one, each with its own options.
std::string commandList(const CommandEntry& command) {
  std::string text;
  for (const CommandEntry& below : command.commands)
    text += "\n### " + escaped(below.word()) + "\n\n" + synopsis(below) +
            escaped(below.description) + ".\n\n" + optionList(below) + commandList(below);
  return text;
}

std::string environment(const CommandEntry& command) {
  std::map<std::string, std::string> variables;
  for (const CommandEntry* entry : allCommands(command))
    for (const CommandOption& option : entry->options)
      if (!option.environment.empty())
        variables[option.environment] = option.names.back();
  std::string text;
  for (const auto& [variable, option] : variables)
    text += definition(bold(variable), "What " + option + " says, where that is not given.");
  return text.empty() ? text : heading("ENVIRONMENT") + text;
}

// Blocks of "Title:" and indented lines, as the help shows them.
std::string footerSections(const std::string& footer) {
  std::string text;
  std::istringstream lines(footer);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("  "))
      text += "    " + line.substr(2) + "\n";
    else if (line.ends_with(':'))
      text += heading(line.substr(0, line.size() - 1));
    else
      text += line.empty() ? "\n" : escaped(line) + "\n\n";
  }
  return text;
}

std::string nameSection(const std::string& page, const CommandEntry& command) {
  return "## NAME\n\n" + escaped(page) + " - " + escaped(command.description) + "\n";
}

std::string commandPage(const std::string& page, const CommandEntry& command) {
  std::string text = nameSection(page, command) + heading("SYNOPSIS");
  if (command.commands.empty())
    text += synopsis(command);
  for (const CommandEntry& below : command.commands)
    text += synopsis(below);
  text += heading("OPTIONS") + optionList(command);
  if (!command.commands.empty())
    text += heading("COMMANDS") + commandList(command);
  text += footerSections(command.footer) + environment(command);
  return text + heading("SEE ALSO") + "**orvctl**(1)\n";
}

std::string programPage(const CommandEntry& program) {
  std::string text = nameSection(program.name, program) + heading("SYNOPSIS") + synopsis(program) +
                     heading("OPTIONS") + optionList(program) + heading("COMMANDS");
  for (const CommandEntry& command : program.commands)
    text += definition(fmt::format("**{}-{}**(1)", escaped(program.name), escaped(command.word())),
                       command.description + ".");
  return text + environment(program);
}

}  // namespace

std::map<std::string, std::string> manualPages(const CommandEntry& program) {
  std::map<std::string, std::string> pages;
  pages[program.name + ".1"] = programPage(program);
  for (const CommandEntry& command : program.commands) {
    const std::string page = program.name + "-" + command.word();
    pages[page + ".1"] = commandPage(page, command);
  }
  return pages;
}

}  // namespace orv::ctl
