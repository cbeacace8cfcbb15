#include "Common/format/EntityToObjectMapper.h"

#include "runtime/ut/ORVException.h"
#include "runtime/ut/Trace.h"

namespace orv {

const std::vector<std::string>& EntityToObjectMapper::firstRow(const DataArray& rows) noexcept {
  static const std::vector<std::string> NO_VALUES;
  return rows.empty() ? NO_VALUES : rows.front();
}

void EntityToObjectMapper::checkSizes(const HeaderArray& header,
                                      const std::vector<std::string>& row, const char* errorText) {
  if (header.size() == row.size() && header.size() <= MAX_FIELDS)
    return;
  TRACE(TR_ERROR, "%s", errorText);
  TRACE(TR_ERROR, "The header has %zu names, the row has %zu values.", header.size(), row.size());
  throw OrvObjectCreationException(OBJECT_CREATION_ERROR);
}

}  // namespace orv
