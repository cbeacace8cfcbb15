#include "Scan/UserOrGroup.h"

#include "Common/FieldTable.h"
#include "Common/GenericPrint.h"
#include "common/ut/Trace.h"

namespace orv {
namespace {

// clang-format off
constexpr Field<UserOrGroup> ROWS[] = {
    integerField<UserOrGroup, &UserOrGroup::ugID>("ugID"),
    integerField<UserOrGroup, &UserOrGroup::ugGroupID>("ugGroupID"),
    stringField<UserOrGroup, &UserOrGroup::ugName>("ugName"),
    stringField<UserOrGroup, &UserOrGroup::ugDescription>("ugDescription"),
    integerField<UserOrGroup, &UserOrGroup::ugDomainID>("ugDomainID"),
    flagField<UserOrGroup, &UserOrGroup::ugRemoved>("ugRemoved"),
    integerField<UserOrGroup, &UserOrGroup::ugComputerID>("ugComputerID"),
    stringField<UserOrGroup, &UserOrGroup::ugNameBytes>("ugNameBytes"),
    integerField<UserOrGroup, &UserOrGroup::ugType>("ugType"),
};
// clang-format on
constexpr std::span<const Field<UserOrGroup>> FIELDS(ROWS);

}  // namespace

std::string UserOrGroup::fullyQualifiedName() const {
  if (!domainName.empty())
    return domainName + "\\" + ugName;
  TRACE(TR_MAX, "WARNING: The <domainName> is empty. Returning <ugName> %s.", ugName.c_str());
  return ugName;
}

void UserOrGroup::printHeader(GenericPrint& print) {
  print.printHeaderLine(fieldNames(FIELDS));
}

void UserOrGroup::printData(GenericPrint& print) const {
  print.printDataLine(fieldValues(FIELDS, *this));
}

}  // namespace orv
