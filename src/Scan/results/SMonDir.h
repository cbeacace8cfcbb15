#pragma once

#include <cstdint>
#include <vector>

#include "Scan/entry/FileAttributes.h"

namespace orv {

class Filesystem;
class GenericPrint;

// A monitored directory that the walk met: its attributes and the specifications that name it. Made
// by an Activator and shared by the results of every profile that was activated with it.
struct SMonDir final : FileAttributes {
  static constexpr const char* ENTITY_NAME = "SMonDir";
  // smFilesystemID until the walk enters the directory.
  static constexpr std::int32_t NOT_ENTERED = -1;

  // The record's own fields, then the twelve "fa" fields.
  static void printHeader(GenericPrint& print);
  void printData(GenericPrint& print) const;

  std::int32_t smFilesystemID = NOT_ENTERED;
  std::int32_t smDirectoryID = 0;
  std::vector<std::int32_t> smDirSpecs;  // mdsIDs
  bool smNewDirectory = false;
  std::int64_t smScanTime = 0;  // milliseconds since 1970
  std::int64_t smRemovedTime = 0;
  const Filesystem* smFilesystem = nullptr;  // not owned; written as its fsID
};

}  // namespace orv
