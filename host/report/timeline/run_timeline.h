// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/replay/device_model.h"
#include "host/report/timeline/start_stories.h"
#include "host/runtime/journal.h"

namespace ZYRA::Host {

// A text by its number in RunTimeline::Texts().
using TextId = uint32_t;

// What something lasted for, in microseconds of the device. `toUs` is -1 while it has not ended.
struct TimelineSpan {
    int64_t fromUs;
    int64_t toUs;
    TextId text;        // A state word, a scene.
    TextId detail = 0;  // Of a scene: the state of its record.
};

// One task of a queue. Those that have not begun, or not ended, have -1 there.
struct TimelineTask {
    TextId name;
    int64_t submittedUs;
    int64_t begunUs = -1;
    int64_t endedUs = -1;
    bool isCancelled = false;
};

struct TimelineQueue {
    std::string name;
    std::vector<TimelineTask> tasks;  // In the order of submission.
};

struct TimelineEvent {
    int64_t timeUs;
    uint32_t resType;
    int64_t value;
    TextId application;  // "" where the event names none.
    TextId detail;       // A page, a process.
};

enum class MarkKind : uint8_t {
    STEP,
    PREREAD,
    FAILED_PREREAD,
    RECORD,
    WRITE,
    REFUSED_WRITE,
    REFUSED_REQUEST,
    FAULT,
    SYSTEM_EVENT,
    FAULT_EVENT,
    ERROR_LINE,
    TOP_SET,
};
constexpr size_t MARK_KIND_COUNT = 12;
// For programs.
const char* MarkKindKey(MarkKind kind);

struct TimelineMark {
    int64_t timeUs;
    MarkKind kind;
    TextId text;
};

// What happened when, to be drawn: made of the journal's entries and nothing else. It remembers the first MOST_ITEMS
// things; a longer run is drawn up to there, and its length costs no more memory. To be read when it is no sink of the
// journal any more.
class RunTimeline final : public JournalSink {
public:
    static constexpr size_t MOST_ITEMS = 250000;

    struct MonitorLane {
        std::vector<TimelineSpan> states;
        std::vector<TimelineSpan> scenes;
    };

    RunTimeline();

    void OnEntry(const JournalEntry& entry) override;
    bool NeedsDescriptors() const override { return false; }
    bool WantsTasks() const override { return true; }

    // Up to when everything is here, and how many things have been left out since.
    int64_t UntilUs() const { return untilUs_; }
    uint64_t LeftOut() const { return leftOut_; }

    const std::vector<std::string>& Texts() const { return texts_; }
    const std::array<MonitorLane, MONITOR_COUNT>& Monitors() const { return monitors_; }
    // When the switch of a group of limited processes was on.
    const std::map<std::string, std::vector<TimelineSpan>, std::less<>>& Switches() const { return switches_; }
    const std::vector<TimelineQueue>& Queues() const { return queues_; }
    const std::vector<TimelineEvent>& Events() const { return events_; }
    const std::vector<TimelineMark>& Marks() const { return marks_; }
    const StartStories& Starts() const { return starts_; }

private:
    void Note(const BindEntry& fact);
    void Note(const RecordEntry& fact);
    void Note(const PrereadEntry& fact);
    void Note(const MonitorEntry& fact);
    void Note(const FileWriteEntry& fact);
    void Note(const FaultEntry& fact);
    void Note(const RefusedEntry& fact);
    void Note(const LogEntry& fact);
    void Note(const SysEventEntry& fact);
    void Note(const TopSetEntry& fact);
    void Note(const TaskEntry& fact);
    void Note(const EventStep& fact);
    void Note(const DeviceStep& fact);
    void Note(const PluginStep& fact);
    void Note(const ShutdownStep& fact);
    void Note(const DumpEntry& fact);
    // Of no interest here.
    void Note(const SubscriptionEntry& /*fact*/) {}
    void Note(const RequestEntry& /*fact*/) {}
    void Note(const SpanEntry& /*fact*/) {}
    void Note(const StepEndEntry& /*fact*/) {}

    // Whether there is room for one more. The time until which everything is here ends with the first for which there
    // is none.
    bool HasRoom();
    TextId TextOf(std::string_view text);
    void Mark(MarkKind kind, std::string_view text);
    void Begin(std::vector<TimelineSpan>& lane, std::string_view text, std::string_view detail = {});
    void End(std::vector<TimelineSpan>& lane) const;
    void NoteSwitch(const FileWriteEntry& fact);

    int64_t nowUs_ = 0;
    int64_t untilUs_ = 0;
    size_t items_ = 0;
    uint64_t leftOut_ = 0;

    std::vector<std::string> texts_;
    std::unordered_map<std::string, TextId> textIds_;
    std::array<MonitorLane, MONITOR_COUNT> monitors_;
    std::map<std::string, std::vector<TimelineSpan>, std::less<>> switches_;
    std::vector<TimelineQueue> queues_;
    // Of the tasks that have not ended: where they are in `queues_`.
    std::unordered_map<uint64_t, std::pair<size_t, size_t>> openTasks_;
    std::vector<TimelineEvent> events_;
    std::vector<TimelineMark> marks_;
    StartStories starts_;
};

}  // namespace ZYRA::Host
