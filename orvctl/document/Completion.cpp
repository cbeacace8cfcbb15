#include "orvctl/document/CommandTable.h"

#include <fmt/format.h>

#include <array>
#include <string_view>
#include <utility>

namespace orv::ctl {
namespace {

using Offer = CommandOption::Offer;

std::string joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words)
    text += (text.empty() ? "" : " ") + word;
  return text;
}

std::string offerText(const CommandOption& option) {
  static constexpr std::array<std::pair<Offer, const char*>, 4> TEXTS = {
      {{Offer::NOTHING, "nothing"},
       {Offer::WORDS, "words "},
       {Offer::DIRECTORIES, "directories"},
       {Offer::FILES, "files"}}};
  for (const auto& [offer, text] : TEXTS)
    if (offer == option.offer())
      return text + joined(option.words);
  return {};
}

std::vector<std::string> commandWords(const CommandEntry& entry) {
  std::vector<std::string> words;
  for (const CommandEntry& command : entry.commands)
    words.push_back(command.word());
  return words;
}

std::string caseLine(const std::string& pattern, const std::string& text) {
  return text.empty() ? text : fmt::format("    '{}') echo '{}' ;;\n", pattern, text);
}

// Shell functions that bash and zsh share. They print what there is for "orvctl history add" (or
// an option behind that), or nothing.
std::string shellTables(const CommandEntry& program) {
  std::string commands;
  std::string options;
  std::string offers;
  for (const CommandEntry* entry : allCommands(program)) {
    std::vector<std::string> names;
    for (const CommandOption& option : entry->options) {
      names.insert(names.end(), option.names.begin(), option.names.end());
      for (const std::string& name : option.names)
        if (!option.value.empty())
          offers += caseLine(entry->name + " " + name, offerText(option));
    }
    if (!entry->positionals.empty())
      offers += caseLine(entry->name, offerText(entry->positionals.front()));
    commands += caseLine(entry->name, joined(commandWords(*entry)));
    options += caseLine(entry->name, joined(names));
  }
  const auto function = [](const char* name, const std::string& cases) {
    return fmt::format("_orvctl_{}() {{\n  case $1 in\n{}  esac\n}}\n", name, cases);
  };
  return function("commands", commands) + function("options", options) +
         "# Of an option with a value, or of the arguments of a command.\n" +
         function("offer", offers);
}

// Finds the command being typed in $1..., and whether its next word is the value of an option.
constexpr const char* SHELL_WALK = R"shell(# Sets command and offer by the words that are complete.
_orvctl_walk() {
  local word
  command=orvctl offer=
  for word in "$@"; do
    if [ -n "$offer" ]; then
      [ "$word" = = ] || offer=
      continue
    fi
    case $word in
      -*=*) ;;
      -*) offer=$(_orvctl_offer "$command $word") ;;
      *)
        case " $(_orvctl_commands "$command") " in
          *" $word "*) command="$command $word" ;;
        esac
        ;;
    esac
  done
}
)shell";

constexpr const char* BASH_MAIN = R"shell(_orvctl() {
  local command offer word=${COMP_WORDS[COMP_CWORD]}
  _orvctl_walk "${COMP_WORDS[@]:1:COMP_CWORD-1}"
  COMPREPLY=()
  [[ $word == = ]] && word=
  if [[ -z $offer && $word == -* ]]; then
    offer="words $(_orvctl_options "$command")"
  elif [[ -z $offer ]]; then
    offer=$(_orvctl_commands "$command")
    [[ -n $offer ]] && offer="words $offer" || offer=$(_orvctl_offer "$command")
  fi
  case $offer in
    words\ *) mapfile -t COMPREPLY < <(compgen -W "${offer#words }" -- "$word") ;;
    directories) compopt -o filenames; mapfile -t COMPREPLY < <(compgen -d -- "$word") ;;
    files) compopt -o filenames; mapfile -t COMPREPLY < <(compgen -f -- "$word") ;;
  esac
}
complete -F _orvctl orvctl
)shell";

constexpr const char* ZSH_MAIN = R"shell(_orvctl() {
  local command offer
  _orvctl_walk "${(@)words[2,CURRENT-1]}"
  if [[ -z $offer && $PREFIX == -*=* ]]; then
    offer=$(_orvctl_offer "$command ${PREFIX%%=*}")
    compset -P '*='
  elif [[ -z $offer && $PREFIX == -* ]]; then
    offer="words $(_orvctl_options "$command")"
  elif [[ -z $offer ]]; then
    offer=$(_orvctl_commands "$command")
    [[ -n $offer ]] && offer="words $offer" || offer=$(_orvctl_offer "$command")
  fi
  case $offer in
    words\ *) compadd -- ${=offer#words } ;;
    directories) _files -/ ;;
    files) _files ;;
  esac
}
_orvctl "$@"
)shell";

std::string fishQuoted(std::string_view text) {
  std::string quoted = "'";
  for (const char c : text) {
    if (c == '\'' || c == '\\')
      quoted += '\\';
    quoted += c;
  }
  return quoted + "'";
}

// When what belongs to a command is to be offered: every word of it has been seen, and none of
// those that lead further.
std::string fishCondition(const CommandEntry& entry, bool further) {
  std::string condition;
  std::string_view rest = entry.name;
  for (std::size_t at = rest.find(' '); at != std::string_view::npos; at = rest.find(' ')) {
    rest.remove_prefix(at + 1);
    condition += fmt::format("{}__fish_seen_subcommand_from {}", condition.empty() ? "" : "; and ",
                             rest.substr(0, rest.find(' ')));
  }
  if (further && !entry.commands.empty())
    condition += fmt::format("{}not __fish_seen_subcommand_from {}",
                             condition.empty() ? "" : "; and ", joined(commandWords(entry)));
  return condition.empty() ? condition : " -n " + fishQuoted(condition);
}

std::string fishOffer(const CommandOption& option) {
  switch (option.offer()) {
    case Offer::WORDS:
      return " -a " + fishQuoted(joined(option.words));
    case Offer::DIRECTORIES:
      return " -a '(__fish_complete_directories)'";
    case Offer::FILES:
      return " -F";
    case Offer::NOTHING:
      break;
  }
  return {};
}

std::string fishOption(const CommandOption& option, const std::string& condition) {
  std::string line = "complete -c orvctl" + condition;
  for (const std::string& name : option.names)
    line += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
  if (!option.value.empty())
    line += (option.offer() == Offer::FILES ? " -r" : " -x") + fishOffer(option);
  return line + " -d " + fishQuoted(option.description) + "\n";
}

}  // namespace

std::string bashCompletion(const CommandEntry& program) {
  return "# Completes orvctl in bash. Made from its options.\n" + shellTables(program) +
         SHELL_WALK + BASH_MAIN;
}

std::string zshCompletion(const CommandEntry& program) {
  return "#compdef orvctl\n# Made from the options of orvctl.\n" + shellTables(program) +
         SHELL_WALK + ZSH_MAIN;
}

std::string fishCompletion(const CommandEntry& program) {
  std::string text = "# Completes orvctl in fish. Made from its options.\ncomplete -c orvctl -f\n";
  for (const CommandEntry* entry : allCommands(program)) {
    const std::string here = fishCondition(*entry, true);
    for (const CommandEntry& command : entry->commands)
      text += fmt::format("complete -c orvctl{} -a {} -d {}\n", here, command.word(),
                          fishQuoted(command.description));
    for (const CommandOption& option : entry->options)
      text += fishOption(option, here);
    if (!entry->positionals.empty())
      text += "complete -c orvctl" + here + fishOffer(entry->positionals.front()) + "\n";
  }
  return text;
}

}  // namespace orv::ctl
