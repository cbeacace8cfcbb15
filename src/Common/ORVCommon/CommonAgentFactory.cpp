#include "Common/ORVCommon/CommonAgentFactory.h"

namespace orv {

CommonAgent* CommonAgentFactory::getCommonAgent() noexcept {
  static CommonAgent agent;
  return &agent;
}

}  // namespace orv
