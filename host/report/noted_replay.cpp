// SPDX-License-Identifier: Apache-2.0
#include "host/report/noted_replay.h"

#include <list>

#include "host/replay/log_level_filter.h"
#include "host/replay/sink_registration.h"

namespace ZYRA::Host {

void RunNotedReplay(const DeviceModel& model, ScenarioFile& scenario, const ReplayOptions& options, LogLevel lowest,
                    const std::vector<JournalSink*>& sinks, Findings& findings) {
    // What is told of the learning and of the limits is told from lines of the lowest level.
    logThreshold.store(static_cast<int32_t>(LogLevel::DEBUG), std::memory_order_relaxed);
    LogLevelFilter toSummary(lowest, findings.summary);
    std::list<SinkRegistration> registrations;
    for (JournalSink* const sink : sinks) {
        registrations.emplace_back(sink);
    }
    for (JournalSink* const sink :
         {static_cast<JournalSink*>(&toSummary), static_cast<JournalSink*>(&findings.learning),
          static_cast<JournalSink*>(&findings.limits)}) {
        registrations.emplace_back(sink);
    }
    findings.result = RunReplay(model, scenario, options);
}

}  // namespace ZYRA::Host
