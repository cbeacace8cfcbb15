#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "Common/EntityToObjectMapper.h"

namespace orv {

// The network domain of a filer. Owned by its NasFiler.
class Domain final : public EntityToObjectMapper {
 public:
  void inititializeObject(const HeaderArray& refHeaderArray, const DataArray& refDataArray) override;

  std::int32_t dmID = 0;
  std::string dmName;
};

// A network filer that exports a filesystem. Owned by its Filesystem.
class NasFiler final : public EntityToObjectMapper {
 public:
  void inititializeObject(const HeaderArray& refHeaderArray, const DataArray& refDataArray) override;

  std::int32_t nasID = 0;
  std::int32_t nasComputerID = 0;
  std::int32_t nasOsType = 0;
  std::string nasName;
  std::string nasHostName;
  std::string nasAddress;

  std::unique_ptr<Domain> domain;  // null when the definition names none
};

}  // namespace orv
