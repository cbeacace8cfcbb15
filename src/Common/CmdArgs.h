#pragma once

#include <string>

#include "Common/JobFile.h"

namespace orv {

struct CmdEntry;
struct CmdTables;

// The command number of the scan program: which commands and options a command line may hold.
inline constexpr int SCAN_COMMAND_NUMBER = 9;

// Results of parsing a command line, and of each option's handler.
inline constexpr int CMD_OK = 0;
inline constexpr int CMD_INVALID_COMMAND = 2;
inline constexpr int CMD_INVALID_PARAMETER = 3;
inline constexpr int CMD_VALUE_MISSING = 6;
inline constexpr int CMD_NO_INSTALL_LOCATION = 59;
inline constexpr int CMD_OUT_OF_MEMORY = 102;

// The agent's install location as the place of a program shows it: the directory above the
// program's own when that is named "bin" ("/opt/agent/bin/scan" gives "/opt/agent"); else empty.
[[nodiscard]] std::string installLocationOfProgram(const std::string& programPath);

// The parsed command line: "scan -scan -serverName s1 -jobName J -jobRunNumber 12 ...". The first
// argument is a command, every further one an option with its value; names are compared without
// regard to case, as ASCII in every locale. Owned by the driver, on whose thread it is parsed once
// and then only read.
//
// Texts are empty and numbers 0 unless an option sets them; an option that is given twice has its
// last value. Numbers are read base 10 up to the first character that is no digit: text that is no
// number gives 0.
class CmdArgs final {
 public:
  // What the command asks for.
  static constexpr int MODE_SCAN = 1;
  static constexpr int MODE_VERSION = 2;

  // `argv` holds `argc` arguments, the program's name first, and must outlive the object.
  CmdArgs(int argc, const char* const* argv, int commandNumber);

  // Fills the fields and does nothing else: any process's command line may be read. 0, or the code
  // of the first fault (see above), whose argument is then in `currentArgument` and whose text, if
  // the option has one, in `errorText`. When a debug mode is set and no `debugfile`, the job's
  // trace file becomes the `debugfile`.
  [[nodiscard]] int parse();

  // Where the agent is installed: the value of -installLoc, kept as it was given; without it, what
  // the running program's place shows; empty when neither tells. Needs no parsing before, and finds
  // the option on a command line that is otherwise faulty, so that the fault can be logged.
  [[nodiscard]] const std::string& installLocation() const noexcept { return installLoc; }

  // The names of this job's files.
  [[nodiscard]] JobFiles jobFiles() const;

  int mode = 0;            // MODE_SCAN or MODE_VERSION
  std::string installLoc;  // see installLocation

  std::string jobName;   // enclosing double quotes removed
  int jobRunNumber = 0;  // -1 when given without a value
  int sidRunNumber = 0;
  std::string scanProfile;  // enclosing double quotes removed

  std::string serverName;
  std::string serverIP;
  int serverPort = 0;         // -1 when given without a value
  int agentDescriptor = 0;    // the agent's own end of its pipe, for the job to close; 0 for none
  int statusDescriptor = -1;  // where the start status byte goes; -1 for nowhere

  std::string debugMode;  // "MIN", "MID", "MAX", or empty: no trace
  int debugLevel = 0;     // 3 for MIN, 2 for MID, 1 for MAX
  std::string debugfile;  // the trace file
  std::string logname;    // the activity log, when it is not the usual one

  int nfsTimeout = 0;  // seconds that a stat of a network filesystem may take; 0 for any
  int maxLogSize = 0;  // bytes; a given 0 becomes 1024; -1 when given without a value
  int maxNumLogs = 0;
  int maxNumRuns = 0;
  int maxNumDays = 0;

  std::string currentArgument;  // the argument that was looked at last; empty when there was none
  std::string errorText;        // what the failing option's handler says

 private:
  int parseCommand();
  int parseOptions();
  int apply(const CmdEntry& entry);
  void findInstallLocation();
  int settle();
  [[nodiscard]] const char* argument(int index) const;

  int m_argumentCount;
  const char* const* m_arguments;
  int m_next = 1;
  const CmdTables& m_tables;
};

}  // namespace orv
