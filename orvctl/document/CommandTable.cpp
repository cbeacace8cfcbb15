#include "orvctl/document/CommandTable.h"

#include <array>
#include <sstream>
#include <string_view>

namespace orv::ctl {
namespace {

using Offer = CommandOption::Offer;

struct ValueKind {
  std::string_view value;
  Offer offer;
};
constexpr std::array<ValueKind, 6> VALUE_KINDS = {{{"DIR", Offer::DIRECTORIES},
                                                   {"FILE", Offer::FILES},
                                                   {"FILE|DIR", Offer::FILES},
                                                   {"FILE|URL", Offer::FILES},
                                                   {"PATH", Offer::DIRECTORIES},
                                                   {"RESULT", Offer::FILES}}};

// The parser tells the words of a choice as "FORMAT:{csv,json}" or, where they stand for something
// else, "FORMAT:value in {csv->2,json->1}".
std::vector<std::string> wordsOf(const std::string& typeName) {
  const std::size_t open = typeName.find('{');
  const std::size_t close = typeName.find('}', open);
  std::vector<std::string> words;
  if (close == std::string::npos)
    return words;
  std::istringstream list(typeName.substr(open + 1, close - open - 1));
  for (std::string word; std::getline(list, word, ',');)
    words.push_back(word.substr(0, word.find("->")));
  return words;
}

CommandOption entryOf(const CLI::Option& option) {
  CommandOption entry;
  entry.description = option.get_description();
  entry.environment = option.get_envname();
  entry.isRequired = option.get_required();
  entry.repeats = option.get_items_expected_max() > 1;
  if (option.get_positional()) {
    entry.names = {option.get_name()};
    entry.value = option.get_name();
    return entry;
  }
  for (const std::string& name : option.get_snames())
    entry.names.push_back("-" + name);
  for (const std::string& name : option.get_lnames())
    entry.names.push_back("--" + name);
  if (option.get_type_size() == 0 || option.get_expected_max() == 0)
    return entry;
  const std::string typeName = option.get_type_name();
  entry.value = typeName.substr(0, typeName.find(':'));
  entry.words = wordsOf(typeName);
  return entry;
}

CommandEntry entryOf(const CLI::App& app, const std::string& above) {
  CommandEntry entry;
  entry.name = above + app.get_name();
  entry.description = app.get_description();
  entry.footer = app.get_footer();
  for (const CLI::Option* option : app.get_options())
    (option->get_positional() ? entry.positionals : entry.options).push_back(entryOf(*option));
  for (const CLI::App* command : app.get_subcommands({}))
    entry.commands.push_back(entryOf(*command, entry.name + " "));
  return entry;
}

void collect(const CommandEntry& entry, std::vector<const CommandEntry*>& all) {
  all.push_back(&entry);
  for (const CommandEntry& command : entry.commands)
    collect(command, all);
}

}  // namespace

Offer CommandOption::offer() const {
  if (!words.empty())
    return Offer::WORDS;
  for (const ValueKind& kind : VALUE_KINDS)
    if (kind.value == value)
      return kind.offer;
  return Offer::NOTHING;
}

CommandEntry commandTable(const CLI::App& app) {
  CommandEntry table = entryOf(app, "");
  std::vector<std::string> names;
  for (const CommandEntry& command : table.commands)
    names.push_back(command.word());
  for (CommandEntry& command : table.commands)
    for (CommandOption& argument : command.positionals)
      if (argument.value == "COMMAND")
        argument.words = names;
  return table;
}

std::vector<const CommandEntry*> allCommands(const CommandEntry& top) {
  std::vector<const CommandEntry*> all;
  collect(top, all);
  return all;
}

}  // namespace orv::ctl
