#pragma once

#include <cstdint>
#include <string>

#include "Common/format/EntityToObjectMapper.h"

namespace orv {

class Filesystem;
class GenericPrint;
struct FileAttributes;

// An action to run on the files that a profile selects. The program fills it, never the definition
// file. Owned by its CuStatDef.
class BackupAction final : public EntityToObjectMapper {
 public:
  // Takes nothing from the file.
  void inititializeObject(const HeaderArray& refHeaderArray,
                          const DataArray& refDataArray) override;

  static void printHeader(GenericPrint& print);
  // The data line. The file and the filesystem are left out.
  void printData(GenericPrint& print) const;

  std::int32_t baID = 0;
  std::int16_t baType = 0;
  bool baDeleteFile = false;
  std::string baOptions;
  const FileAttributes* baFile = nullptr;    // not owned
  const Filesystem* baFilesystem = nullptr;  // not owned
  std::int32_t baConstraintThreshold = 0;
};

}  // namespace orv
