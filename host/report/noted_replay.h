// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "host/replay/device_model.h"
#include "host/replay/replay.h"
#include "host/replay/scenario_file.h"
#include "host/report/findings.h"
#include "platform/log.h"

namespace ZYRA::Host {

// Plays the scenario and notes what happens. What is told of log lines begins at `lowest`; `sinks` see all of them.
// REQUIRES: as RunReplay.
void RunNotedReplay(const DeviceModel& model, ScenarioFile& scenario, const ReplayOptions& options, LogLevel lowest,
                    const std::vector<JournalSink*>& sinks, Findings& findings);

}  // namespace ZYRA::Host
