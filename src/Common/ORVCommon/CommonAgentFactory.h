#pragma once

namespace orv {

// What the scan must know of the platform that the agent runs on.
struct CommonAgent final {
  // Whether the agent runs on Windows; the same flag says that the platform records creation times.
  bool isWindows = false;
};

// Gives access to the one platform object of the process.
class CommonAgentFactory final {
 public:
  CommonAgentFactory() = delete;

  // Never null; lives as long as the process. Any thread may read it, the job never changes it.
  [[nodiscard]] static CommonAgent* getCommonAgent() noexcept {
    static CommonAgent agent;
    return &agent;
  }
};

}  // namespace orv
