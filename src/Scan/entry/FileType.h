#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace orv {

class GenericPrint;

// A file type of the whole scan, known by its extension.
struct FileType final {
  static constexpr const char* ENTITY_NAME = "FileType";

  std::int32_t fptID = 0;
  std::string ftpFileExtension;
  std::string ftpDescription;

  static void printHeader(GenericPrint& print);
  void printData(GenericPrint& print) const;
};

// The scan-wide file types by extension. Created once per job, shared by every walk.
class FileTypeTable final {
 public:
  FileTypeTable() = default;
  FileTypeTable(const FileTypeTable&) = delete;
  FileTypeTable& operator=(const FileTypeTable&) = delete;

  // The entry of that extension, created with the next free fptID (from 1) when there is none. The
  // reference stays valid while the table exists.
  [[nodiscard]] const FileType& entry(std::string_view extension);

 private:
  std::map<std::string, FileType, std::less<>> m_types;
};

}  // namespace orv
