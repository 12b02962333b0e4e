// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/replay/replay.h"
#include "host/report/learning_summary.h"
#include "host/report/limit_summary.h"
#include "host/report/summary.h"

namespace ZYRA::Host {

// All that is known after a replay.
struct Findings {
    Summary summary;
    LearningSummary learning;
    LimitSummary limits;
    ReplayResult result;
};

}  // namespace ZYRA::Host
