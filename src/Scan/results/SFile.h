#pragma once

#include <cstdint>
#include <memory>

#include "Scan/entry/FileAttributes.h"

namespace orv {

class GenericPrint;

// Which ranking a file was kept for (`sfStatType`).
enum FileStatKind : std::int16_t {
  SF_LARGEST_FILES = 0,
  SF_LEAST_ACCESSED = 1,
  SF_OLDEST_NOT_BACKED_UP = 2,
  SF_LARGEST_ORPHANS = 3,
  SF_OLDEST_ORPHANS = 4
};

// A file that a ranking keeps: a copy of its attributes and where it belongs. Owned by the ranking
// during the walk, by a slot of the CuStatResults afterwards.
struct SFile : FileAttributes {
  static constexpr const char* ENTITY_NAME = "SFile";

  // The record's own fields, then the twelve "fa" fields.
  static void printHeader(GenericPrint& print);
  virtual void printData(GenericPrint& print) const;

  std::unique_ptr<SFile> next;  // the file ranked next lower
  std::int32_t sfFilesystemID = 0;
  std::int32_t sfStatisticID = 0;
  std::int16_t sfStatType = SF_LARGEST_FILES;
};

// A file that scoring proposes for migration. Scoring is the server's: the job names the record's
// one field in the result's header section and writes no such record.
struct SFileCandidate final : SFile {
  static constexpr const char* ENTITY_NAME = "SFileCandidate";

  static void printHeader(GenericPrint& print);
  void printData(GenericPrint& print) const override;

  std::int32_t sfHSMScore = 0;
};

}  // namespace orv
