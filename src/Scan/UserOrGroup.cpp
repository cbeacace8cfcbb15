#include "Scan/UserOrGroup.h"

#include "common/ut/Trace.h"

namespace orv {

std::string UserOrGroup::fullyQualifiedName() const {
  if (!domainName.empty())
    return domainName + "\\" + ugName;
  TRACE(TR_MAX, "WARNING: The <domainName> is empty. Returning <ugName> %s.", ugName.c_str());
  return ugName;
}

}  // namespace orv
