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

}  // namespace orv
