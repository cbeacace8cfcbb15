#pragma once

#include <CLI/CLI.hpp>
#include <map>
#include <string>
#include <vector>

// The command line as a table, and what is made from it: manual pages (ManualPages.cpp) and
// completion (Completion.cpp).
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

// The manual pages of a command line as Markdown, by the names of the pages ("orvctl-scan.1"): one
// for the program and one for every command that stands directly below it. Second-level headings
// are the sections of a page.
[[nodiscard]] std::map<std::string, std::string> manualPages(const CommandEntry& program);

// What shells load to complete a command line: commands, options, and values where the table tells
// what they are.
[[nodiscard]] std::string bashCompletion(const CommandEntry& program);
[[nodiscard]] std::string zshCompletion(const CommandEntry& program);
[[nodiscard]] std::string fishCompletion(const CommandEntry& program);

}  // namespace orv::ctl
