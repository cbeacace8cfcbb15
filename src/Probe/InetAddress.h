#pragma once

#include <string>

namespace orv {

// Name resolution for filers, on the job's thread. Blocks for as long as the host's resolver does,
// once for each host.
class InetAddress final {
 public:
  InetAddress() = delete;

  // The first address of a host in numeric text, IPv4 or IPv6 without brackets; `host` itself when
  // it cannot be resolved.
  [[nodiscard]] static std::string getHostAddress(const std::string& host);
};

}  // namespace orv
