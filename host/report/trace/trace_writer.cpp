// SPDX-License-Identifier: Apache-2.0
#include "host/report/trace/trace_writer.h"
#include "host/report/limit_files.h"

#include <algorithm>
#include <optional>

#include "host/replay/learning_lines.h"
#include "host/runtime/errno_names.h"
#include "host/runtime/observed_queue.h"
#include "host/services/executor_requests.h"

namespace ZYRA::Host {

namespace {

// The order of the tracks. Queues come as they are met.
constexpr uint64_t STEPS_RANK = 0;
constexpr uint64_t QUEUES_RANK = 1;
constexpr uint64_t MONITORS_RANK = 1000;
constexpr uint64_t SWITCHES_RANK = 1010;
constexpr uint64_t FAULTS_RANK = 1020;
constexpr uint64_t SYS_EVENTS_RANK = 1021;
constexpr uint64_t COUNTERS_RANK = 1030;
constexpr uint64_t OTHERS_RANK = 1040;

constexpr char OUT_OF_WORK[] = "OUTOFWORK";

// Kinds of faults, named as in the summary.
constexpr char FAULTS[] = "faults";
constexpr char REFUSED_WRITES[] = "refusedWrites";
constexpr char REFUSED_REQUESTS[] = "refusedRequests";
constexpr char FAILED_PREREADS[] = "failedPrereads";
constexpr char FAULT_EVENTS[] = "faultEvents";
constexpr char ERROR_LINES[] = "errorLines";

std::string NumberText(uint32_t resType, int64_t value) {
    return std::to_string(resType) + '/' + std::to_string(value);
}

TraceEvent EventOf(const FileWriteEntry& fact, const std::string& name) {
    TraceEvent event(name);
    event.Note("path", fact.path).Note("content", fact.content);
    if (!fact.IsAccepted()) {
        event.Note("error", std::string(fact.isShort ? "short" : ErrnoName(fact.error)));
    }
    return event;
}

}  // namespace

TraceWriter::TraceWriter(OutputFile& file)
    : file_(file, "iosched-host"),
      steps_(file_, "Steps", STEPS_RANK),
      monitors_{{{SliceTrack(file_, "Monitor 0", MONITORS_RANK)}, {SliceTrack(file_, "Monitor 1", MONITORS_RANK + 1)}}},
      switches_{{{"iocontrol", SliceTrack(file_, "Limit iocontrol", SWITCHES_RANK)},
                 {"heavyio", SliceTrack(file_, "Limit heavyio", SWITCHES_RANK + 1)}}},
      faults_(file_, "Faults", FAULTS_RANK),
      sysEvents_(file_, "System events", SYS_EVENTS_RANK),
      others_(file_, "Other threads", OTHERS_RANK),
      prereads_{file_.AddCounter("Prereads", COUNTERS_RANK, TraceUnit::COUNT)},
      prereadBytes_{file_.AddCounter("Bytes preread", COUNTERS_RANK + 1, TraceUnit::BYTES)},
      records_{file_.AddCounter("Records made", COUNTERS_RANK + 2, TraceUnit::COUNT)},
      topSetSize_{file_.AddCounter("Top set size", COUNTERS_RANK + 3, TraceUnit::COUNT)} {
    for (MonitorTrack& monitor : monitors_) {
        monitor.track.Begin(0, TraceEvent(OUT_OF_WORK));
    }
    for (const Counter* counter : {&prereads_, &prereadBytes_, &records_, &topSetSize_}) {
        file_.WriteCounter(0, counter->track, counter->value);
    }
}

void TraceWriter::OnEntry(const JournalEntry& entry) {
    nowUs_ = entry.timeUs;
    std::visit([this](const auto& fact) { Note(fact); }, entry.fact);
}

void TraceWriter::Finish() {
    steps_.EndTo(nowUs_, 0);
    for (QueueTrack& queue : queues_) {
        queue.track.EndTo(nowUs_, 0);
    }
    for (MonitorTrack& monitor : monitors_) {
        monitor.track.EndTo(nowUs_, 0);
    }
    for (SwitchTrack& limit : switches_) {
        limit.track.EndTo(nowUs_, 0);
    }
}

void TraceWriter::BeginStep(const TraceEvent& event) {
    steps_.EndTo(nowUs_, 0);
    steps_.Begin(nowUs_, event);
    stepThread_ = std::this_thread::get_id();
}

void TraceWriter::Note(const EventStep& fact) {
    const std::string* bundle = TextMember(fact.payload, "bundleName");
    TraceEvent event("event " + std::to_string(fact.resType) + (bundle == nullptr ? "" : ' ' + *bundle));
    BeginStep(event.Note("type", fact.resType).Note("value", fact.value).NoteMembers(fact.payload));
}

void TraceWriter::Note(const DeviceStep& fact) {
    BeginStep(TraceEvent("device").NoteMembers(fact.patch));
}

void TraceWriter::Note(const PluginStep& fact) {
    BeginStep(TraceEvent(fact.enable ? "plugin enable" : "plugin disable"));
}

void TraceWriter::Note(const ShutdownStep& fact) {
    BeginStep(TraceEvent("shutdown").Note("callbacks", fact.callbacks));
}

void TraceWriter::Note(const DumpEntry& fact) {
    BeginStep(TraceEvent("dump").Note("args", nlohmann::json(fact.args)).Note("result", fact.result));
}

void TraceWriter::Note(const StepEndEntry& /*fact*/) {
    steps_.EndTo(nowUs_, 0);
}

void TraceWriter::Note(const TaskEntry& fact) {
    switch (fact.phase) {
        case TaskEntry::Phase::SUBMITTED:
            OwnOrOtherTrack().Instant(nowUs_, TraceEvent("submit " + fact.name)
                                                  .Note("queue", fact.queue)
                                                  .Note("task", fact.id)
                                                  .Note("delayUs", fact.dueUs - nowUs_)
                                                  .StartFlow(fact.id));
            break;
        case TaskEntry::Phase::BEGUN:
            BeginTask(fact);
            break;
        case TaskEntry::Phase::ENDED:
            for (QueueTrack& queue : queues_) {
                if (queue.runningTask == fact.id) {
                    queue.track.EndTo(nowUs_, 0);
                    queue.runningTask = 0;
                }
            }
            break;
        case TaskEntry::Phase::CANCELLED:
            OwnOrOtherTrack().Instant(
                nowUs_, TraceEvent("cancel " + fact.name).Note("queue", fact.queue).Note("task", fact.id));
            break;
    }
}

void TraceWriter::BeginTask(const TaskEntry& fact) {
    auto queue = std::find_if(queues_.begin(), queues_.end(), [&fact](const QueueTrack& known) {
        return known.queue == fact.queue && known.runningTask == 0;
    });
    if (queue == queues_.end()) {
        const uint64_t rank = QUEUES_RANK + queues_.size();
        queues_.push_back({fact.queue, SliceTrack(file_, "Queue " + fact.queue, rank)});
        queue = std::prev(queues_.end());
    }
    queue->runningTask = fact.id;
    queue->track.Begin(
        nowUs_, TraceEvent(fact.name).Note("task", fact.id).Note("lateUs", nowUs_ - fact.dueUs).EndFlow(fact.id));
}

void TraceWriter::Note(const SpanEntry& fact) {
    SliceTrack* const track = OwnTrack();
    if (track == nullptr) {
        if (fact.begin) {
            others_.Instant(nowUs_, TraceEvent(fact.name));
        }
    } else if (fact.begin) {
        track->Begin(nowUs_, TraceEvent(fact.name));
    } else if (track->Depth() > 1) {
        // The task or the step itself is not ended by it.
        track->EndTo(nowUs_, track->Depth() - 1);
    }
}

void TraceWriter::Note(const RequestEntry& fact) {
    OwnOrOtherTrack().Instant(nowUs_, TraceEvent("request " + NumberText(fact.resType, fact.value))
                                          .Note("sync", fact.sync)
                                          .NoteMembers(fact.payload));
}

void TraceWriter::Note(const RefusedEntry& fact) {
    NoteFault(TraceEvent("refused request " + NumberText(fact.resType, fact.value))
                  .Category(REFUSED_REQUESTS)
                  .Note("reason", fact.reason));
}

void TraceWriter::Note(const FileWriteEntry& fact) {
    AskingTrack().Instant(nowUs_, EventOf(fact, "write " + fact.path.substr(fact.path.rfind('/') + 1)));
    if (!fact.IsAccepted()) {
        NoteFault(EventOf(fact, "refused write").Category(REFUSED_WRITES));
        return;
    }
    const auto switched = SwitchedBy(fact);
    for (SwitchTrack& limit : switches_) {
        if (!switched || limit.group != switched->group) {
            continue;
        }
        if (!switched->isOn) {
            limit.track.EndTo(nowUs_, 0);
        } else if (limit.track.Depth() == 0) {
            limit.track.Begin(nowUs_, TraceEvent("on"));
        }
    }
}

void TraceWriter::Note(const FaultEntry& fact) {
    TraceEvent event("fault of " + fact.operation);
    event.Category(FAULTS).Note("path", fact.path);
    if (fact.error != 0 || fact.isShort) {
        event.Note("error", std::string(fact.isShort ? "short" : ErrnoName(fact.error)));
    }
    if (fact.delayUs != 0) {
        event.Note("delayUs", fact.delayUs);
    }
    NoteFault(event);
}

void TraceWriter::Note(const LogEntry& fact) {
    if (fact.level == LogLevel::ERROR || fact.level == LogLevel::FATAL) {
        NoteFault(TraceEvent("error line").Category(ERROR_LINES).Note("tag", fact.tag).Note("text", fact.text));
    }
    if (const auto line = ReadLearningLine(fact); line) {
        if (const auto* published = std::get_if<PublishedLine>(&*line)) {
            Count(topSetSize_, published->size);
        }
    }
}

void TraceWriter::Note(const SysEventEntry& fact) {
    TraceEvent event(fact.name);
    event.Note("domain", fact.domain);
    for (const auto& [name, value] : fact.params) {
        std::visit([&event, &key = name](const auto& typed) { event.Note(key, typed); }, value);
    }
    if (fact.type == EventLogType::FAULT) {
        NoteFault(event.Category(FAULT_EVENTS));
    } else {
        sysEvents_.Instant(nowUs_, event);
    }
}

void TraceWriter::Note(const MonitorEntry& fact) {
    MonitorTrack* const monitor = MonitorOf(fact.monitor);
    if (monitor == nullptr) {
        return;
    }
    if (fact.state == OUT_OF_WORK) {
        monitor->scene.clear();
    }
    TraceEvent event(fact.state);
    if (!monitor->scene.empty()) {
        event.Note("scene", monitor->scene);
    }
    monitor->track.EndTo(nowUs_, 0);
    monitor->track.Begin(nowUs_, event);
}

void TraceWriter::Note(const BindEntry& fact) {
    if (MonitorTrack* const monitor = MonitorOf(fact.monitor); monitor != nullptr) {
        monitor->scene = fact.scene;
        monitor->track.Instant(nowUs_, TraceEvent("bind " + fact.scene)
                                           .Note("uid", fact.uid)
                                           .Note("pid", fact.pid)
                                           .Note("recordState", fact.recordState));
    }
}

void TraceWriter::Note(const RecordEntry& fact) {
    for (MonitorTrack& monitor : monitors_) {
        if (monitor.scene == fact.scene) {
            monitor.track.Instant(nowUs_, TraceEvent("record " + fact.scene).Note("pages", fact.pages));
        }
    }
    Count(records_, records_.value + 1);
}

void TraceWriter::Note(const PrereadEntry& fact) {
    TraceEvent event((fact.error.empty() ? "preread " : "failed preread ") + fact.scene);
    event.Note("bytes", fact.bytes);
    Count(prereadBytes_, prereadBytes_.value + fact.bytes);
    if (!fact.error.empty()) {
        NoteFault(event.Category(FAILED_PREREADS).Note("error", fact.error));
        return;
    }
    if (MonitorTrack* const monitor = MonitorOf(fact.monitor); monitor != nullptr) {
        monitor->track.Instant(nowUs_, event);
    }
    Count(prereads_, prereads_.value + 1);
}

void TraceWriter::Note(const TopSetEntry& fact) {
    Count(topSetSize_, fact.size);
}

void TraceWriter::Count(Counter& counter, uint64_t value) {
    if (counter.value != value) {
        counter.value = value;
        file_.WriteCounter(nowUs_, counter.track, value);
    }
}

TraceWriter::MonitorTrack* TraceWriter::MonitorOf(int index) {
    return index < 0 || index >= MONITOR_COUNT ? nullptr : &monitors_.at(static_cast<size_t>(index));
}

SliceTrack* TraceWriter::OwnTrack() {
    if (const uint64_t task = RunningTaskId(); task != 0) {
        const auto queue = std::find_if(queues_.begin(), queues_.end(),
                                        [task](const QueueTrack& known) { return known.runningTask == task; });
        return queue == queues_.end() ? nullptr : &queue->track;
    }
    return steps_.Depth() > 0 && stepThread_ == std::this_thread::get_id() ? &steps_ : nullptr;
}

SliceTrack& TraceWriter::OwnOrOtherTrack() {
    SliceTrack* const own = OwnTrack();
    return own == nullptr ? others_ : *own;
}

SliceTrack& TraceWriter::AskingTrack() {
    SliceTrack* asking = steps_.Depth() > 0 ? &steps_ : nullptr;
    for (QueueTrack& queue : queues_) {
        if (queue.runningTask != 0) {
            if (asking != nullptr) {
                return others_;
            }
            asking = &queue.track;
        }
    }
    return asking == nullptr ? others_ : *asking;
}

}  // namespace ZYRA::Host
