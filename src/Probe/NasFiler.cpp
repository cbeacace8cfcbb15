#include "Probe/NasFiler.h"

#include "Common/format/FieldTable.h"
#include "Common/format/GenericPrint.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

// clang-format off
constexpr Field<Domain> DOMAIN_ROWS[] = {
    integerField<Domain, &Domain::dmID>("dmID"),
    stringField<Domain, &Domain::dmName>("dmName"),
};

constexpr Field<NasFiler> FILER_ROWS[] = {
    integerField<NasFiler, &NasFiler::nasID>("nasID"),
    integerField<NasFiler, &NasFiler::nasComputerID>("nasComputerID"),
    integerField<NasFiler, &NasFiler::nasOsType>("nasOsType"),
    stringField<NasFiler, &NasFiler::nasName>("nasName"),
    stringField<NasFiler, &NasFiler::nasHostName>("nasHostName"),
    stringField<NasFiler, &NasFiler::nasAddress>("nasAddress"),
};
// clang-format on
constexpr std::span<const Field<Domain>> DOMAIN_FIELDS(DOMAIN_ROWS);
constexpr std::span<const Field<NasFiler>> FILER_FIELDS(FILER_ROWS);

}  // namespace

void Domain::inititializeObject(const HeaderArray& refHeaderArray, const DataArray& refDataArray) {
  TRACE_METHOD("inititializeObject(...)");
  const std::vector<std::string>& row = firstRow(refDataArray);
  checkSizes(refHeaderArray, row);
  readFields(DOMAIN_FIELDS, refHeaderArray, row, *this);
}

void Domain::printHeader(GenericPrint& print) {
  print.printHeaderLine(fieldNames(DOMAIN_FIELDS));
}

void NasFiler::inititializeObject(const HeaderArray& refHeaderArray,
                                  const DataArray& refDataArray) {
  TRACE_METHOD("inititializeObject(...)");
  const std::vector<std::string>& row = firstRow(refDataArray);
  checkSizes(refHeaderArray, row);
  readFields(FILER_FIELDS, refHeaderArray, row, *this);
}

}  // namespace orv
