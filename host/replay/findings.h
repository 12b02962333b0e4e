#pragma once

#include "host/replay/learning_summary.h"
#include "host/replay/limit_summary.h"
#include "host/replay/replay.h"
#include "host/replay/summary.h"

namespace ZYRA::Host {

// All that is known after a replay.
struct Findings {
    Summary summary;
    LearningSummary learning;
    LimitSummary limits;
    ReplayResult result;
};

}  // namespace ZYRA::Host
