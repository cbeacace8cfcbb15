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

  // For parts of a tree, whose types come in any order: a type of the table was met at that place
  // of the walk, and nowhere before as far as the caller knows.
  void noteFirst(const FileType& type, std::string_view place);
  // Numbers the types in the order of the places that they were met at first.
  void numberByPlace();

 private:
  std::map<std::string, FileType, std::less<>> m_types;
  std::map<std::string, std::string, std::less<>> m_firstPlaces;  // by extension
};

}  // namespace orv
