// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "host/replay/replay.h"
#include "host/replay/scenario_file.h"
#include "host/report/paced_progress.h"

namespace ZYRA::Host {

// Tells how far the check of a scenario has come: "reading day.jsonl: 41 %". As below.
ScenarioFile::CheckProgress TellCheckOn(PacedProgress& progress, const std::string& scenarioFile);

// Tells how far a replay has come: "replaying day.jsonl: 41 % of 120000 steps, 3.2 days". `progress` must outlive the
// result.
std::function<void(const ReplayProgress&)> TellReplayOn(PacedProgress& progress, const std::string& what,
                                                        uint64_t allSteps);

}  // namespace ZYRA::Host
