#pragma once

#include <string>

#include "host/replay/learning_summary.h"
#include "host/replay/replay.h"
#include "host/replay/summary.h"

namespace ZYRA::Host {

// The summary as the user reads it: plain text in lines, with terminal colours when asked for.
std::string SummaryText(const Summary& summary, const LearningSummary& learning, const ReplayResult& result,
                        bool isColoured);

}  // namespace ZYRA::Host
