#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "Common/format/EntityToObjectMapper.h"

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

class GenericPrint;

// The network domain of a filer. Owned by its NasFiler.
class Domain final : public EntityToObjectMapper {
 public:
  static constexpr const char* ENTITY_NAME = "Domain";

  // Fields of the first row by header name, in any column order; unknown names are skipped.
  void inititializeObject(const HeaderArray& refHeaderArray,
                          const DataArray& refDataArray) override;

  static void printHeader(GenericPrint& print);

  std::int32_t dmID = 0;
  std::string dmName;
};

// A network filer that exports a filesystem. Owned by its Filesystem; like that, used on the job's
// thread. It is read from the definition only: results name no filers.
class NasFiler final : public EntityToObjectMapper {
 public:
  static constexpr const char* ENTITY_NAME = "NasFiler";

  // Fields of the first row by header name, in any column order; unknown names are skipped.
  void inititializeObject(const HeaderArray& refHeaderArray,
                          const DataArray& refDataArray) override;

  std::int32_t nasID = 0;
  std::int32_t nasComputerID = 0;
  std::int32_t nasOsType = 0;
  std::string nasName;
  std::string nasHostName;
  std::string nasAddress;

  std::unique_ptr<Domain> domain;  // null when the definition names none
};

}  // namespace orv
