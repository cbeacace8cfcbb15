#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

// The command line as a table, from which manual pages and completion are made.
namespace orv::ctl {

struct CommandOption {
  std::vector<std::string> names;  // "-h", "--help"; of a positional its name alone
  std::string value;               // what stands behind it, as "DIR"; empty for a flag
  std::vector<std::string> words;  // the values that it takes, when there are but a few
  std::string description;
  std::string environment;  // the variable that it can be set by; empty for none
  bool isRequired = false;
  bool repeats = false;

  // What a shell is to offer for its value.
  enum class Offer { NOTHING, WORDS, DIRECTORIES, FILES };
  [[nodiscard]] Offer offer() const;
};

struct CommandEntry {
  std::string name;  // with those above it: "orvctl history add"
  std::string description;
  std::string footer;
  std::vector<CommandOption> options;
  std::vector<CommandOption> positionals;
  std::vector<CommandEntry> commands;

  // Its last word.
  [[nodiscard]] std::string word() const { return name.substr(name.rfind(' ') + 1); }
};

[[nodiscard]] CommandEntry commandTable(const CLI::App& app);

// The table's entries, each before those below it.
[[nodiscard]] std::vector<const CommandEntry*> allCommands(const CommandEntry& top);

}  // namespace orv::ctl
