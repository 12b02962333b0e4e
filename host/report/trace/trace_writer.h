// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <string>
#include <thread>

#include "host/replay/device_model.h"
#include "host/replay/output_file.h"
#include "host/report/trace/slice_track.h"
#include "host/report/trace/trace_file.h"
#include "host/runtime/journal.h"

namespace ZYRA::Host {

// Writes what happens as a trace for a viewer of timelines; see docs/formats.md for its tracks. Remembers what is open
// only, so that a long run costs no memory.
class TraceWriter final : public JournalSink {
public:
    // `file` must outlive the writer; it is finished after that.
    explicit TraceWriter(OutputFile& file);

    void OnEntry(const JournalEntry& entry) override;
    bool WantsTasks() const override { return true; }

    // Ends what is open. REQUIRES: it is no sink of the journal any more, and this is not called twice.
    void Finish();

private:
    // The tasks of one queue. Another queue of its name has a track of its own while a task of the first one runs.
    struct QueueTrack {
        std::string queue;
        SliceTrack track;
        uint64_t runningTask = 0;
    };
    struct MonitorTrack {
        SliceTrack track;
        std::string scene = {};
    };
    struct SwitchTrack {
        std::string group;
        SliceTrack track;
    };
    struct Counter {
        uint64_t track;
        uint64_t value = 0;
    };

    void Note(const EventStep& fact);
    void Note(const DeviceStep& fact);
    void Note(const PluginStep& fact);
    void Note(const ShutdownStep& fact);
    void Note(const DumpEntry& fact);
    void Note(const StepEndEntry& fact);
    void Note(const TaskEntry& fact);
    void Note(const SpanEntry& fact);
    void Note(const RequestEntry& fact);
    void Note(const RefusedEntry& fact);
    void Note(const FileWriteEntry& fact);
    void Note(const FaultEntry& fact);
    void Note(const LogEntry& fact);
    void Note(const SysEventEntry& fact);
    void Note(const MonitorEntry& fact);
    void Note(const BindEntry& fact);
    void Note(const RecordEntry& fact);
    void Note(const PrereadEntry& fact);
    void Note(const TopSetEntry& fact);
    void Note(const SubscriptionEntry& /*fact*/) {}

    void BeginStep(const TraceEvent& event);
    void BeginTask(const TaskEntry& fact);
    void NoteFault(const TraceEvent& event) { faults_.Instant(nowUs_, event); }
    void Count(Counter& counter, uint64_t value);
    // Null for a number that no monitor has.
    MonitorTrack* MonitorOf(int index);

    // The track of the task or the step in which the calling thread is, else null.
    SliceTrack* OwnTrack();
    // The same, else that of other threads.
    SliceTrack& OwnOrOtherTrack();
    // Where the write was asked for, which another thread carries out: the one task or step that is open, else the
    // track of other threads.
    SliceTrack& AskingTrack();

    TraceFile file_;
    int64_t nowUs_ = 0;
    SliceTrack steps_;
    std::thread::id stepThread_;
    std::deque<QueueTrack> queues_;
    std::array<MonitorTrack, MONITOR_COUNT> monitors_;
    std::array<SwitchTrack, 2> switches_;
    SliceTrack faults_;
    SliceTrack sysEvents_;
    SliceTrack others_;
    Counter prereads_;
    Counter prereadBytes_;
    Counter records_;
    Counter topSetSize_;
};

}  // namespace ZYRA::Host
