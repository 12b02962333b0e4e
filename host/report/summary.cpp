// SPDX-License-Identifier: Apache-2.0
#include "host/report/summary.h"

#include <string_view>

#include "host/runtime/errno_names.h"
#include "host/services/executor_requests.h"

namespace ZYRA::Host {

namespace {

constexpr std::string_view WORKINGSET_ROOT = "/dev/workingset/";
constexpr std::string_view PROCESS_LIST = "cgroup.procs";

std::string ParamsText(const SysEventEntry& event) {
    std::string text = event.name;
    for (const auto& [name, value] : event.params) {
        text += ' ' + name + '=';
        std::visit(
            [&text](const auto& typed) {
                if constexpr (std::is_same_v<std::decay_t<decltype(typed)>, std::string>) {
                    text += typed;
                } else {
                    text += std::to_string(typed);
                }
            },
            value);
    }
    return text;
}

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
        const std::string without = "monitor " + std::to_string(fact.monitor) + " without a scene";
        failedPrereads_.Add((fact.scene.empty() ? without : fact.scene) + ": " + fact.error);
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
        refusedWrites_.Add(fact.path + ": " + (fact.isShort ? "short" : ErrnoName(fact.error)));
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
    std::string text = fact.operation + ' ' + fact.path + ':';
    text += fact.error != 0 ? std::string(" ") + ErrnoName(fact.error) : "";
    text += fact.isShort ? " short" : "";
    text += fact.delayUs != 0 ? " late" : "";
    faults_.Add(text);
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
    refusedRequests_.Add(std::to_string(fact.resType) + '/' + std::to_string(fact.value) + ' ' + fact.reason);
}

void Summary::Note(const LogEntry& fact) {
    if (fact.level == LogLevel::ERROR || fact.level == LogLevel::FATAL) {
        errorLines_.Add(fact.tag + ": " + fact.text);
    }
}

void Summary::Note(const SysEventEntry& fact) {
    const std::string text = ParamsText(fact);
    if (fact.type == EventLogType::FAULT) {
        faultEvents_.Add(text);
    }
    if (sysEvents_.size() < MOST_SYS_EVENTS) {
        sysEvents_.push_back({nowUs_, text});
    }
    ++sysEventCount_;
}

}  // namespace ZYRA::Host
