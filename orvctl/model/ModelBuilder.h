#pragma once

#include "orvctl/model/Model.h"
#include "orvctl/model/ResultFile.h"

namespace orv::ctl {

// What the result of any `scan` job says. Profiles by which orvctl gathers more than one profile
// can tell (HelpingProfiles.h) are merged into the figures of the first one. Throws CtlError when
// the result holds no statistics, or a record that does not fit its header.
[[nodiscard]] Scan buildModel(const ResultFile& result);

}  // namespace orv::ctl
