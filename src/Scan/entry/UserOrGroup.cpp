#include "Scan/entry/UserOrGroup.h"

#include "Common/format/FieldTable.h"
#include "Common/format/GenericPrint.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

template <auto Member>
constexpr Column<UserOrGroup> idColumn(std::string_view name) {
  return {name, [](const UserOrGroup& record) {
            return std::to_string(static_cast<std::uint32_t>(record.*Member));
          }};
}

// clang-format off
constexpr Column<UserOrGroup> COLUMNS[] = {
    idColumn<&UserOrGroup::ugID>     ("ugID"),
    idColumn<&UserOrGroup::ugGroupID>("ugGroupID"),
    column<UserOrGroup, &UserOrGroup::ugName>       ("ugName"),
    column<UserOrGroup, &UserOrGroup::ugDescription>("ugDescription"),
    column<UserOrGroup, &UserOrGroup::ugDomainID>   ("ugDomainID"),
    column<UserOrGroup, &UserOrGroup::ugRemoved>    ("ugRemoved"),
    column<UserOrGroup, &UserOrGroup::ugComputerID> ("ugComputerID"),
    column<UserOrGroup, &UserOrGroup::ugNameBytes>  ("ugNameBytes"),
    column<UserOrGroup, &UserOrGroup::ugType>       ("ugType"),
};
// clang-format on

}  // namespace

std::string UserOrGroup::fullyQualifiedName() const {
  if (!domainName.empty())
    return domainName + "\\" + ugName;
  TRACE(TR_MAX, "WARNING: The <domainName> is empty. Returning <ugName> %s.", ugName.c_str());
  return ugName;
}

void UserOrGroup::printHeader(GenericPrint& print) {
  print.printHeaderLine(columnNames<UserOrGroup>(COLUMNS));
}

void UserOrGroup::printData(GenericPrint& print) const {
  print.printDataLine(columnTexts<UserOrGroup>(COLUMNS, *this));
}

}  // namespace orv
