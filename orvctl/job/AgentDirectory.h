#pragma once

#include <string>

#include "orvctl/job/Places.h"

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

// The agent directory that the user means, as an absolute path without a trailing "/"; it need not
// exist. When none is `asked` for it is the one of the build that orvctl belongs to, when that can
// be written to, else the state directory. Throws CtlError when no home directory is known.
[[nodiscard]] std::string chosenAgentDirectory(const std::string& asked,
                                               const Installation& installation);

// Makes the directory that `asked` means ready for jobs: creates it with its folders, copies
// bin/Agent and links nls/xrmna.cat where it has none of its own. The link is renewed, and so is a
// copy in a directory that nobody asked for. Throws CtlError.
[[nodiscard]] AgentDirectory prepareAgentDirectory(const std::string& asked,
                                                   const Installation& installation);

}  // namespace orv::ctl
