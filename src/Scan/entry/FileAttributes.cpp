#include "Scan/entry/FileAttributes.h"

#include "Common/format/FieldTable.h"
#include "Scan/entry/UserTable.h"

namespace orv {
namespace {

std::string nameOf(const UserOrGroup* identity) {
  return identity == nullptr ? std::string() : identity->ugName;
}

using FA = FileAttributes;

// clang-format off
constexpr Column<FA> COLUMNS[] = {
    column<FA, &FA::faType>       ("faType"),
    column<FA, &FA::faName>       ("faName"),
    {"faOwner", [](const FA& info) { return nameOf(info.faOwner); }},
    {"faGroup", [](const FA& info) { return nameOf(info.faGroup); }},
    column<FA, &FA::faCreated>    ("faCreated"),
    column<FA, &FA::faModified>   ("faModified"),
    column<FA, &FA::faAccessed>   ("faAccessed"),
    column<FA, &FA::faBlocks>     ("faBlocks"),
    column<FA, &FA::faLength>     ("faLength"),
    column<FA, &FA::faAttributes> ("faAttributes"),
    column<FA, &FA::faLinkCount>  ("faLinkCount"),
    column<FA, &FA::faInodeNumber>("faInodeNumber"),
};
// clang-format on

}  // namespace

void FileAttributes::appendNames(std::vector<std::string>& names) {
  appendColumnNames<FileAttributes>(COLUMNS, names);
}

void FileAttributes::appendValues(std::vector<std::string>& values) const {
  appendColumnTexts<FileAttributes>(COLUMNS, *this, values);
}

}  // namespace orv
