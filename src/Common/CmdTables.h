#pragma once

#include <array>
#include <string_view>

#include "Common/CmdArgs.h"

// The commands and options that the programs of the agent accept, as tables.
namespace orv {

// Takes an option's value into the record; `value` is null when the command line ends before it.
// The result is CMD_OK or the code of the fault, whose text is then in the record.
using CmdHandler = int (*)(const char* value, CmdArgs& record);

// A command or an option, by its name without the leading "-".
struct CmdEntry {
  std::string_view name;  // an empty name ends a table
  int value;              // a command's mode; an option's column in the matrix
  bool takesValue;        // the next argument belongs to the entry
  CmdHandler handler;     // null when the entry has no effect besides its value
};

// How many options, and so columns of the matrix, there are.
inline constexpr std::size_t OPTION_COUNT = 17;
using MatrixRow = std::array<unsigned char, OPTION_COUNT>;

// The tables of one program.
struct CmdTables {
  const CmdEntry* commands;
  const CmdEntry* options;
  const MatrixRow* matrix;  // by mode; 1 where the option of that column goes with the command

  [[nodiscard]] bool isAllowed(int mode, int column) const {
    return matrix[mode].at(static_cast<std::size_t>(column)) != 0;
  }
};

// The tables that belong to a command number; a number that no program has gets empty ones.
[[nodiscard]] const CmdTables& tablesOf(int commandNumber);

// The entry of `table` that `argument` ("-" and a name in any case) stands for; null without one.
[[nodiscard]] const CmdEntry* findEntry(const CmdEntry* table, const char* argument);

}  // namespace orv
