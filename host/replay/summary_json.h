#pragma once

#include <string>

#include "host/replay/learning_summary.h"
#include "host/replay/replay.h"
#include "host/replay/summary.h"

namespace ZYRA::Host {

// The summary as a program reads it: one JSON object, whose members docs/formats.md lists. Its `schema` grows when
// anything is renamed or removed.
std::string SummaryJson(const Summary& summary, const LearningSummary& learning, const ReplayResult& result);

}  // namespace ZYRA::Host
