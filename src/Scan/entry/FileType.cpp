#include "Scan/entry/FileType.h"

#include "Common/format/FieldTable.h"
#include "Common/format/GenericPrint.h"

namespace orv {
namespace {

// The prefix of the first name differs from the others in every result ever written.
// clang-format off
constexpr Column<FileType> COLUMNS[] = {
    column<FileType, &FileType::fptID>           ("fptID"),
    column<FileType, &FileType::ftpFileExtension>("ftpFileExtension"),
    column<FileType, &FileType::ftpDescription>  ("ftpDescription"),
};
// clang-format on

}  // namespace

void FileType::printHeader(GenericPrint& print) {
  print.printHeaderLine(columnNames<FileType>(COLUMNS));
}

void FileType::printData(GenericPrint& print) const {
  print.printDataLine(columnTexts<FileType>(COLUMNS, *this));
}

const FileType& FileTypeTable::entry(std::string_view extension) {
  const auto found = m_types.find(extension);
  if (found != m_types.end())
    return found->second;
  FileType& type = m_types[std::string(extension)];
  type.fptID = static_cast<std::int32_t>(m_types.size());
  type.ftpFileExtension = extension;
  return type;
}

void FileTypeTable::noteFirst(const FileType& type, std::string_view place) {
  std::string& first = m_firstPlaces[type.ftpFileExtension];
  if (first.empty() || place < first)
    first = place;
}

void FileTypeTable::numberByPlace() {
  std::map<std::string_view, FileType*> ordered;
  for (auto& [extension, type] : m_types)
    ordered.emplace(m_firstPlaces[extension], &type);
  std::int32_t number = 0;
  for (const auto& [place, type] : ordered)
    type->fptID = ++number;
}

}  // namespace orv
