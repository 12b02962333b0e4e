// SPDX-License-Identifier: Apache-2.0
#include "host/report/timeline/run_timeline.h"

#include <algorithm>
#include <utility>

#include "host/report/fact_text.h"
#include "host/report/json_text.h"
#include "host/report/limit_files.h"
#include "host/report/quantity_text.h"
#include "host/services/executor_requests.h"

namespace ZYRA::Host {

namespace {

constexpr std::string_view FIRST_STATE = "OUTOFWORK";
constexpr int64_t OPEN = -1;

}  // namespace

const char* MarkKindKey(MarkKind kind) {
    switch (kind) {
        case MarkKind::STEP:
            return "step";
        case MarkKind::PREREAD:
            return "preread";
        case MarkKind::FAILED_PREREAD:
            return "failedPreread";
        case MarkKind::RECORD:
            return "record";
        case MarkKind::WRITE:
            return "write";
        case MarkKind::REFUSED_WRITE:
            return "refusedWrite";
        case MarkKind::REFUSED_REQUEST:
            return "refusedRequest";
        case MarkKind::FAULT:
            return "fault";
        case MarkKind::SYSTEM_EVENT:
            return "systemEvent";
        case MarkKind::FAULT_EVENT:
            return "faultEvent";
        case MarkKind::ERROR_LINE:
            return "errorLine";
        case MarkKind::TOP_SET:
            return "topSet";
    }
    return "";
}

RunTimeline::RunTimeline() {
    TextOf("");
    for (MonitorLane& monitor : monitors_) {
        monitor.states.push_back({0, OPEN, TextOf(FIRST_STATE)});
    }
}

void RunTimeline::OnEntry(const JournalEntry& entry) {
    nowUs_ = entry.timeUs;
    untilUs_ = leftOut_ == 0 ? nowUs_ : untilUs_;
    std::visit([this](const auto& fact) { Note(fact); }, entry.fact);
}

bool RunTimeline::HasRoom() {
    if (items_ == MOST_ITEMS) {
        ++leftOut_;
        return false;
    }
    ++items_;
    return true;
}

TextId RunTimeline::TextOf(std::string_view text) {
    const auto [known, isNew] = textIds_.try_emplace(std::string(text), static_cast<TextId>(texts_.size()));
    if (isNew) {
        texts_.emplace_back(text);
    }
    return known->second;
}

void RunTimeline::Mark(MarkKind kind, std::string_view text) {
    if (HasRoom()) {
        marks_.push_back({nowUs_, kind, TextOf(text)});
    }
}

void RunTimeline::Begin(std::vector<TimelineSpan>& lane, std::string_view text, std::string_view detail) {
    End(lane);
    if (HasRoom()) {
        lane.push_back({nowUs_, OPEN, TextOf(text), TextOf(detail)});
    }
}

// What ends after the time until which everything is here is drawn up to there.
void RunTimeline::End(std::vector<TimelineSpan>& lane) const {
    if (!lane.empty() && lane.back().toUs == OPEN && leftOut_ == 0) {
        lane.back().toUs = nowUs_;
    }
}

void RunTimeline::Note(const BindEntry& fact) {
    starts_.Note(nowUs_, fact);
    if (fact.monitor < 0 || fact.monitor >= MONITOR_COUNT) {
        return;
    }
    auto& lane = monitors_.at(static_cast<size_t>(fact.monitor)).scenes;
    const bool isSame = !lane.empty() && lane.back().toUs == OPEN && texts_.at(lane.back().text) == fact.scene;
    if (!isSame) {
        Begin(lane, fact.scene, fact.recordState);
    }
}

void RunTimeline::Note(const RecordEntry& fact) {
    starts_.Note(nowUs_, fact);
    Mark(MarkKind::RECORD, fact.scene + ", " + std::to_string(fact.pages) + " pages");
}

void RunTimeline::Note(const PrereadEntry& fact) {
    starts_.Note(nowUs_, fact);
    if (fact.error.empty()) {
        Mark(MarkKind::PREREAD, fact.scene + ", " + Bytes(fact.bytes));
    } else {
        Mark(MarkKind::FAILED_PREREAD, FailedPrereadText(fact));
    }
}

void RunTimeline::Note(const MonitorEntry& fact) {
    starts_.Note(nowUs_, fact);
    if (fact.monitor < 0 || fact.monitor >= MONITOR_COUNT) {
        return;
    }
    MonitorLane& monitor = monitors_.at(static_cast<size_t>(fact.monitor));
    if (texts_.at(monitor.states.back().text) != fact.state || monitor.states.back().toUs != OPEN) {
        Begin(monitor.states, fact.state);
    }
    if (fact.state == FIRST_STATE || fact.state == "ABORT") {
        End(monitor.scenes);
    }
}

void RunTimeline::Note(const FileWriteEntry& fact) {
    if (!fact.IsAccepted()) {
        Mark(MarkKind::REFUSED_WRITE, RefusedWriteText(fact));
        return;
    }
    Mark(MarkKind::WRITE, fact.path + ": " + fact.content);
    NoteSwitch(fact);
}

void RunTimeline::NoteSwitch(const FileWriteEntry& fact) {
    const auto limit = SwitchedBy(fact);
    if (!limit) {
        return;
    }
    auto& lane = switches_[std::string(limit->group)];
    if (!limit->isOn) {
        End(lane);
    } else if (lane.empty() || lane.back().toUs != OPEN) {
        Begin(lane, "on");
    }
    const bool areOn = std::any_of(switches_.begin(), switches_.end(), [](const auto& one) {
        return !one.second.empty() && one.second.back().toUs == OPEN;
    });
    starts_.NoteLimits(nowUs_, areOn);
}

void RunTimeline::Note(const FaultEntry& fact) {
    Mark(MarkKind::FAULT, FaultText(fact));
}

void RunTimeline::Note(const RefusedEntry& fact) {
    Mark(MarkKind::REFUSED_REQUEST, RefusedRequestText(fact));
}

void RunTimeline::Note(const LogEntry& fact) {
    if (fact.level == LogLevel::ERROR || fact.level == LogLevel::FATAL) {
        Mark(MarkKind::ERROR_LINE, fact.tag + ": " + fact.text);
    }
}

void RunTimeline::Note(const SysEventEntry& fact) {
    Mark(fact.type == EventLogType::FAULT ? MarkKind::FAULT_EVENT : MarkKind::SYSTEM_EVENT, SysEventText(fact));
}

void RunTimeline::Note(const TopSetEntry& fact) {
    Mark(MarkKind::TOP_SET, std::to_string(fact.size) + " scenes, " + std::to_string(fact.added.size()) + " in, " +
                                std::to_string(fact.removed.size()) + " out");
}

void RunTimeline::Note(const TaskEntry& fact) {
    if (fact.phase == TaskEntry::Phase::SUBMITTED) {
        auto queue =
            std::find_if(queues_.begin(), queues_.end(), [&](const auto& one) { return one.name == fact.queue; });
        if (queue == queues_.end()) {
            queue = queues_.insert(queue, TimelineQueue{fact.queue, {}});
        }
        if (HasRoom()) {
            openTasks_.emplace(fact.id, std::pair(queue - queues_.begin(), queue->tasks.size()));
            queue->tasks.push_back({TextOf(fact.name), nowUs_});
        }
        return;
    }
    const auto open = openTasks_.find(fact.id);
    if (open == openTasks_.end() || leftOut_ != 0) {
        return;
    }
    TimelineTask& task = queues_.at(open->second.first).tasks.at(open->second.second);
    switch (fact.phase) {
        case TaskEntry::Phase::SUBMITTED:
            return;
        case TaskEntry::Phase::BEGUN:
            task.begunUs = nowUs_;
            return;
        case TaskEntry::Phase::ENDED:
            task.endedUs = nowUs_;
            break;
        case TaskEntry::Phase::CANCELLED:
            task.isCancelled = true;
            break;
    }
    openTasks_.erase(open);
}

void RunTimeline::Note(const EventStep& fact) {
    starts_.Note(nowUs_, fact);
    if (!HasRoom()) {
        return;
    }
    const auto text = [&](const char* name) {
        const std::string* member = TextMember(fact.payload, name);
        return member == nullptr ? std::string_view() : std::string_view(*member);
    };
    const std::string_view page = text("pageUrl");
    const std::string pid = std::string(text("pid"));
    events_.push_back({nowUs_, fact.resType, fact.value, TextOf(text("bundleName")),
                       TextOf(page.empty() && !pid.empty() ? "process " + pid : page)});
}

void RunTimeline::Note(const DeviceStep& fact) {
    Mark(MarkKind::STEP, "device " + JsonLine(fact.patch));
}

void RunTimeline::Note(const PluginStep& fact) {
    Mark(MarkKind::STEP, fact.enable ? "plugin enabled" : "plugin disabled");
}

void RunTimeline::Note(const ShutdownStep& fact) {
    Mark(MarkKind::STEP, "shutdown, callbacks: " + std::to_string(fact.callbacks));
}

void RunTimeline::Note(const DumpEntry& fact) {
    std::string text = "dump";
    for (const std::string& argument : fact.args) {
        text += ' ' + argument;
    }
    Mark(MarkKind::STEP, text);
}

}  // namespace ZYRA::Host
