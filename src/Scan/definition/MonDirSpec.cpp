#include "Scan/definition/MonDirSpec.h"

#include "Common/format/FieldTable.h"
#include "Common/format/GenericPrint.h"
#include "runtime/ut/Trace.h"

namespace orv {

std::span<const Field<MonDirSpec>> MonDirSpec::fields() noexcept {
  // clang-format off
  static constexpr Field<MonDirSpec> ROWS[] = {
      integerField<MonDirSpec, &MonDirSpec::m_mdsID>("mdsID"),
      integerField<MonDirSpec, &MonDirSpec::m_mdsGroupID>("mdsGroupID"),
      integerField<MonDirSpec, &MonDirSpec::m_mdsComputerID>("mdsComputerID"),
      stringField<MonDirSpec, &MonDirSpec::m_mdsPath>("mdsPath"),
      flagField<MonDirSpec, &MonDirSpec::m_mdsMaskedPath>("mdsMaskedPath"),
  };
  // clang-format on
  return ROWS;
}

void MonDirSpec::inititializeObject(const HeaderArray& refHeaderArray,
                                    const DataArray& refDataArray) {
  TRACE_METHOD("inititializeObject(...)");
  for (const std::vector<std::string>& innerArray : refDataArray)
    checkSizes(refHeaderArray, innerArray,
               "ERROR: innerArray.size() != refHeaderArray.size(). "
               "OrvObjectCreationException will be thrown.");
  for (const std::vector<std::string>& innerArray : refDataArray)
    readFields(fields(), refHeaderArray, innerArray, *this);
}

void MonDirSpec::printHeader(GenericPrint& print) {
  print.printHeaderLine(fieldNames(fields()));
}

void MonDirSpec::printData(GenericPrint& print) const {
  TRACE_METHOD("printData(...)");
  print.printBegin(ENTITY_NAME);
  print.printDataLine(fieldValues(fields(), *this));
  print.printEnd(ENTITY_NAME);
}

void MonDirSpec::setMdsNext(MonDirSpec* mdsNext) {
  if (mdsNext == nullptr)
    TRACE(TR_MAX, "WARNING: Set local MonDirSpec reference <mdsNext> to NULL.");
  m_mdsNext = mdsNext;
}

}  // namespace orv
