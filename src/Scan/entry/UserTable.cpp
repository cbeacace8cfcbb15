#include "Scan/entry/UserTable.h"

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

UserOrGroup* UberTable::stashOnUnix(std::unique_ptr<UserOrGroup> pUG, bool isGroup) {
  TRACE_METHOD("stashOnUnix(...)");
  if (!pUG) {
    TRACE(TR_ERROR,
          "UberTable::stashOnUnix() : ERROR: The UserOrGroup reference <pUG> is NULL. Leaving "
          "method.");
    return nullptr;
  }
  RecordsByName& records = isGroup ? m_groups : m_users;
  // try_emplace leaves `pUG` alone when the name is taken: the new record then ends with this call.
  return records.try_emplace(pUG->ugName, std::move(pUG)).first->second.get();
}

UserOrGroup* UberTable::keepUnnamed(std::unique_ptr<UserOrGroup> record) {
  m_unnamed.push_back(std::move(record));
  return m_unnamed.back().get();
}

}  // namespace orv
