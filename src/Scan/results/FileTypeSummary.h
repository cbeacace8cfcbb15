#pragma once

#include <cstdint>
#include <memory>

namespace orv {

class GenericPrint;
struct FileType;

// When a figure of the history was taken. Base of the records that the history keeps.
struct History {
  virtual ~History() = default;

  static void printHeader(GenericPrint& print);
  virtual void printData(GenericPrint& print) const;

  std::int64_t hsStatisticTime = 0;
  std::int32_t hsAccumCount = 0;
  std::int16_t hsStatisticType = 0;
};

// What the files of one type hold in a tree. Owned by the FileTypeAccum during the walk, by its
// CuStatResults afterwards.
struct FileTypeSummary final : History {
  static constexpr const char* ENTITY_NAME = "FileTypeSummary";

  static void printHeader(GenericPrint& print);
  void printData(GenericPrint& print) const override;

  std::int32_t profileID = 0;
  std::int32_t filesystemID = 0;
  std::int64_t fileCount = 0;
  std::int64_t spaceUsed = 0;          // bytes
  const FileType* fileType = nullptr;  // not owned; written as its fptID

  std::unique_ptr<FileTypeSummary> next;  // the type ranked next lower
};

}  // namespace orv
