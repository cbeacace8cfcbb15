#pragma once

#include <string>

namespace orv::ctl {

// An agent directory that jobs can run in: absolute path without a trailing "/". Orvctl's jobs run
// for the server name "local", so their files lie in the folders of that name.
struct AgentDirectory {
  std::string path;

  [[nodiscard]] std::string inputDirectory() const { return path + "/input/" + SERVER; }
  [[nodiscard]] std::string outputDirectory() const { return path + "/output/" + SERVER; }
  [[nodiscard]] std::string logDirectory() const { return path + "/log/" + SERVER; }

  static constexpr const char* SERVER = "local";
};

// The staged agent directory that the running orvctl belongs to (the parent of its bin), where the
// scan program, the agent's stand-in and the message catalog are. Throws CtlError when the running
// program cannot be located.
[[nodiscard]] std::string stagedAgentDirectory();

// The agent directory that the user means, as an absolute path without a trailing "/"; it need not
// exist. An empty `directory` means `staged` itself when that can be written to, else orvscan in
// the user's data directory ($XDG_DATA_HOME or ~/.local/share). Throws CtlError when no home
// directory is known.
[[nodiscard]] std::string chosenAgentDirectory(const std::string& directory,
                                               const std::string& staged);

// Makes the directory that `directory` means ready for jobs: creates it with its folders, copies
// bin/Agent and links nls/xrmna.cat from `staged` where it has none of its own (a link of an
// earlier run is renewed). Throws CtlError.
[[nodiscard]] AgentDirectory prepareAgentDirectory(const std::string& directory,
                                                   const std::string& staged);

}  // namespace orv::ctl
