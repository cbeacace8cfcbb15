#pragma once

#include <CLI/CLI.hpp>
#include <string>

// Options that several commands share.
namespace orv::ctl {

inline constexpr int DEFAULT_TOP = 20;
// A profile counts its rankings in 16 bits.
inline constexpr int MAX_TOP = 32767;

inline void addTopOption(CLI::App& command, int& top) {
  command
      .add_option("--top", top,
                  "Entries shown of every list; " + std::to_string(top) + " if not given")
      ->type_name("N")
      ->check(CLI::Range(1, MAX_TOP));
}

inline void addAgentOption(CLI::App& command, std::string& directory) {
  command
      .add_option("--agent", directory,
                  "Agent directory with the jobs' files, which a scan makes if needed; without it "
                  "the one that orvctl was built into, or the state directory if it is installed")
      ->type_name("DIR")
      ->envname("ORV_AGENT");
}

}  // namespace orv::ctl
