// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "host/replay/device_model.h"
#include "host/report/state_timeline.h"
#include "host/report/tally.h"
#include "host/report/work_timeline.h"
#include "host/runtime/journal.h"

namespace ZYRA::Host {

// What happened to one scene.
struct SceneSummary {
    uint64_t bound = 0;                            // Times that work on it began.
    std::map<std::string, uint64_t> recordStates;  // How often its record was found in which state then.
    uint64_t records = 0;
    uint64_t pages = 0;  // Of the last record.
    uint64_t prereads = 0;
    uint64_t failedPrereads = 0;
    uint64_t bytes = 0;
};

struct MonitorSummary {
    StateTimeline states{"OUTOFWORK"};
    WorkTimeline work;
};

// A run in short, made of the journal's entries and nothing else. To be read when it is no sink of the journal any
// more.
class Summary final : public JournalSink {
public:
    static constexpr size_t MOST_SYS_EVENTS = 1000;

    struct SysEvent {
        int64_t timeUs;
        std::string text;
    };

    void OnEntry(const JournalEntry& entry) override;
    bool NeedsDescriptors() const override { return false; }

    const std::map<std::string, SceneSummary>& Scenes() const { return scenes_; }
    // The sum of all, but for record states and pages.
    SceneSummary SceneTotal() const;
    // How many failures there were, of all kinds.
    uint64_t Failures() const;
    const std::array<MonitorSummary, MONITOR_COUNT>& Monitors() const { return monitors_; }

    // Faults of the device model that have struck, as "operation path: what".
    const Tally& Faults() const { return faults_; }

    // Failures by kind: "path: errno", "type/value reason", "scene: code", "tag: text", and an event's name with its
    // parameters.
    const Tally& RefusedWrites() const { return refusedWrites_; }
    const Tally& RefusedRequests() const { return refusedRequests_; }
    const Tally& FailedPrereads() const { return failedPrereads_; }
    const Tally& ErrorLines() const { return errorLines_; }
    const Tally& FaultEvents() const { return faultEvents_; }

    // The first system events, and the number of all.
    const std::vector<SysEvent>& SysEvents() const { return sysEvents_; }
    uint64_t SysEventCount() const { return sysEventCount_; }

    uint64_t Events() const { return events_; }
    uint64_t Entries() const { return entries_; }

private:
    void Note(const BindEntry& fact);
    void Note(const RecordEntry& fact);
    void Note(const PrereadEntry& fact);
    void Note(const MonitorEntry& fact);
    void Note(const FileWriteEntry& fact);
    void Note(const FaultEntry& fact);
    void Note(const RequestEntry& fact);
    void Note(const RefusedEntry& fact);
    void Note(const LogEntry& fact);
    void Note(const SysEventEntry& fact);
    void Note(const EventStep& /*fact*/) { ++events_; }
    // Of no interest here.
    void Note(const SubscriptionEntry& /*fact*/) {}
    void Note(const SpanEntry& /*fact*/) {}
    void Note(const DumpEntry& /*fact*/) {}
    void Note(const TopSetEntry& /*fact*/) {}
    void Note(const DeviceStep& /*fact*/) {}
    void Note(const PluginStep& /*fact*/) {}
    void Note(const ShutdownStep& /*fact*/) {}
    void Note(const StepEndEntry& /*fact*/) {}
    void Note(const TaskEntry& /*fact*/) {}

    // Null for a number that no monitor has.
    MonitorSummary* MonitorOf(int index);

    int64_t nowUs_ = 0;
    std::map<std::string, SceneSummary> scenes_;
    std::array<MonitorSummary, MONITOR_COUNT> monitors_;
    Tally faults_;
    Tally refusedWrites_;
    Tally refusedRequests_;
    Tally failedPrereads_;
    Tally errorLines_;
    Tally faultEvents_;
    std::vector<SysEvent> sysEvents_;
    uint64_t sysEventCount_ = 0;
    uint64_t events_ = 0;
    uint64_t entries_ = 0;
};

}  // namespace ZYRA::Host
