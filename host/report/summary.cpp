// SPDX-License-Identifier: Apache-2.0
#include "host/report/summary.h"

#include <string_view>

#include "host/report/fact_text.h"
#include "host/services/executor_requests.h"

namespace ZYRA::Host {

namespace {

constexpr std::string_view WORKINGSET_ROOT = "/dev/workingset/";
constexpr std::string_view PROCESS_LIST = "cgroup.procs";

}  // namespace

void Summary::OnEntry(const JournalEntry& entry) {
    nowUs_ = entry.timeUs;
    ++entries_;
    for (MonitorSummary& monitor : monitors_) {
        monitor.states.AdvanceTo(nowUs_);
        monitor.work.AdvanceTo(nowUs_);
    }
    std::visit([this](const auto& fact) { Note(fact); }, entry.fact);
}

SceneSummary Summary::SceneTotal() const {
    SceneSummary total;
    for (const auto& [name, scene] : scenes_) {
        total.bound += scene.bound;
        total.records += scene.records;
        total.prereads += scene.prereads;
        total.failedPrereads += scene.failedPrereads;
        total.bytes += scene.bytes;
    }
    return total;
}

uint64_t Summary::Failures() const {
    uint64_t count = 0;
    for (const Tally* tally :
         {&faults_, &refusedWrites_, &refusedRequests_, &failedPrereads_, &faultEvents_, &errorLines_}) {
        count += tally->Total();
    }
    return count;
}

MonitorSummary* Summary::MonitorOf(int index) {
    return index < 0 || index >= MONITOR_COUNT ? nullptr : &monitors_.at(static_cast<size_t>(index));
}

void Summary::Note(const BindEntry& fact) {
    MonitorSummary* monitor = MonitorOf(fact.monitor);
    if (monitor != nullptr && monitor->work.Bind(fact.scene)) {
        SceneSummary& scene = scenes_[fact.scene];
        ++scene.bound;
        ++scene.recordStates[fact.recordState];
    }
}

void Summary::Note(const RecordEntry& fact) {
    SceneSummary& scene = scenes_[fact.scene];
    ++scene.records;
    scene.pages = fact.pages;
}

void Summary::Note(const PrereadEntry& fact) {
    if (!fact.error.empty()) {
        failedPrereads_.Add(FailedPrereadText(fact));
    }
    if (fact.scene.empty()) {
        return;
    }
    SceneSummary& scene = scenes_[fact.scene];
    ++(fact.error.empty() ? scene.prereads : scene.failedPrereads);
    scene.bytes += fact.bytes;
}

void Summary::Note(const MonitorEntry& fact) {
    if (MonitorSummary* monitor = MonitorOf(fact.monitor); monitor != nullptr) {
        monitor->states.ChangeTo(nowUs_, fact.state);
        monitor->work.ChangeState(fact.state);
    }
}

void Summary::Note(const FileWriteEntry& fact) {
    if (!fact.IsAccepted()) {
        refusedWrites_.Add(RefusedWriteText(fact));
        return;
    }
    const std::string_view path = fact.path;
    if (path.substr(0, WORKINGSET_ROOT.size()) != WORKINGSET_ROOT) {
        return;
    }
    const std::string_view file = path.substr(WORKINGSET_ROOT.size());
    const bool isMove = path.substr(path.rfind('/') + 1) == PROCESS_LIST;
    for (size_t index = 0; index < monitors_.size(); ++index) {
        const std::string folder = "monitor" + std::to_string(index) + '/';
        const bool isOfMonitor = file.substr(0, folder.size()) == folder;
        WorkTimeline& work = monitors_.at(index).work;
        if (isMove && isOfMonitor) {
            work.Attach(fact.content);
        } else if (isMove) {
            work.Detach(fact.content);  // A process is in one group at a time.
        } else if (isOfMonitor && file.substr(folder.size()) == "workingset.state" &&
                   (fact.content == "STOP" || fact.content == "ABORT")) {
            work.End();
        }
    }
}

void Summary::Note(const FaultEntry& fact) {
    faults_.Add(FaultText(fact));
}

void Summary::Note(const RequestEntry& fact) {
    const std::string* index = TextMember(fact.payload, "index");
    if (fact.resType != EXTENSION_RESOURCE || fact.value != PREREAD_RECORD || index == nullptr) {
        return;
    }
    for (size_t monitor = 0; monitor < monitors_.size(); ++monitor) {
        if (*index == std::to_string(monitor)) {
            monitors_.at(monitor).work.RequestPreread();
        }
    }
}

void Summary::Note(const RefusedEntry& fact) {
    refusedRequests_.Add(RefusedRequestText(fact));
}

void Summary::Note(const LogEntry& fact) {
    if (fact.level == LogLevel::ERROR || fact.level == LogLevel::FATAL) {
        errorLines_.Add(fact.tag + ": " + fact.text);
    }
}

void Summary::Note(const SysEventEntry& fact) {
    const std::string text = SysEventText(fact);
    if (fact.type == EventLogType::FAULT) {
        faultEvents_.Add(text);
    }
    if (sysEvents_.size() < MOST_SYS_EVENTS) {
        sysEvents_.push_back({nowUs_, text});
    }
    ++sysEventCount_;
}

}  // namespace ZYRA::Host
