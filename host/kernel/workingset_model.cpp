// SPDX-License-Identifier: Apache-2.0
#include "host/kernel/workingset_model.h"

#include <cerrno>
#include <utility>

#include "host/kernel/control_text.h"
#include "host/runtime/errno_names.h"
#include "platform/log.h"

namespace ZYRA::Host {

namespace {

constexpr std::string_view AT_WORK_WORDS[] = {"INWORKING", "PAUSED"};

constexpr mode_t READABLE = 0444;
constexpr mode_t WRITABLE = 0200;

}  // namespace

const WorkingsetModel::File WorkingsetModel::FILES[] = {
    {"cgroup.procs", false, &WorkingsetModel::ReadGroup, &WorkingsetModel::WriteGroup},
    {"tasks", false, &WorkingsetModel::ReadGroup, &WorkingsetModel::WriteGroup},
    {"workingset.clearRecord", false, nullptr, &WorkingsetModel::WriteClearRecord},
    {"workingset.dfxinfo", false, &WorkingsetModel::ReadDfxInfo, &WorkingsetModel::WriteDfxInfo},
    {"workingset.dfxerror", false, &WorkingsetModel::ReadDfxError, nullptr},
    {"cgroup.procs", true, &WorkingsetModel::ReadGroup, &WorkingsetModel::WriteGroup},
    {"tasks", true, &WorkingsetModel::ReadGroup, &WorkingsetModel::WriteGroup},
    {"workingset.state", true, &WorkingsetModel::ReadState, &WorkingsetModel::WriteState},
    {"workingset.data", true, &WorkingsetModel::ReadData, &WorkingsetModel::WriteData},
    {"workingset.clearYoung", true, nullptr, &WorkingsetModel::WriteClearYoung},
};

const WorkingsetModel::Command WorkingsetModel::COMMANDS[] = {
    {"INWORKING", nullptr, "INWORKING", true},
    {"PAUSED", nullptr, "PAUSED", true},
    {"PREREAD", nullptr, "PREREAD", true},
    {"STOP", &WorkingsetModel::KeepCollection, "OUTOFWORK", true},
    {"ABORT", &WorkingsetModel::DropCollection, "ABORT", true},
    {"BACKUP", &WorkingsetModel::BackUpRecords, "", false},
};

std::string WorkingsetModel::DeviceRoot() const {
    return "/dev/workingset/";
}

std::vector<ControlFile> WorkingsetModel::List() const {
    std::vector<ControlFile> files;
    for (int group = ROOT; group < MONITOR_COUNT; ++group) {
        const std::string folder = group == ROOT ? "" : "monitor" + std::to_string(group) + "/";
        for (const File& file : FILES) {
            if (file.inMonitor == (group != ROOT)) {
                const mode_t mode = (file.read == nullptr ? 0 : READABLE) | (file.write == nullptr ? 0 : WRITABLE);
                files.push_back({folder + std::string(file.name), mode});
            }
        }
    }
    return files;
}

const WorkingsetModel::File* WorkingsetModel::Find(std::string_view name, int& group) {
    group = ROOT;
    for (int monitor = 0; monitor < MONITOR_COUNT; ++monitor) {
        const std::string folder = "monitor" + std::to_string(monitor) + "/";
        if (name.starts_with(folder)) {
            group = monitor;
            name.remove_prefix(folder.size());
            break;
        }
    }
    for (const File& file : FILES) {
        if (file.inMonitor == (group != ROOT) && file.name == name) {
            return &file;
        }
    }
    return nullptr;
}

int WorkingsetModel::Read(std::string_view name, std::string& content) {
    int group = ROOT;
    const File* file = Find(name, group);
    if (file == nullptr) {
        return ENOENT;
    }
    if (file->read == nullptr) {
        return EACCES;
    }
    MutexLock lock(mutex_);
    content = (this->*file->read)(group);
    return 0;
}

int WorkingsetModel::Write(std::string_view name, const std::string& content) {
    MutexLock lock(mutex_);
    const int error = Execute(name, content);
    Journal::GetInstance().Append(FileWriteEntry{DeviceRoot() + std::string(name), content, error});
    AppendFacts();
    return error;
}

// Records are looked for when a scene is bound or told of, and written by two commands.
bool WorkingsetModel::NeedsDescriptors(std::string_view name, const std::string* command) const {
    return pages_.NeedsDescriptors() || name.ends_with("workingset.data") ||
           (command != nullptr && (command->starts_with("STOP") || command->starts_with("BACKUP")));
}

int WorkingsetModel::Execute(std::string_view name, std::string_view content) {
    int group = ROOT;
    const File* file = Find(name, group);
    if (file == nullptr) {
        return ENOENT;
    }
    if (file->write == nullptr) {
        return EACCES;
    }
    const std::optional<std::string_view> text = CommandText(content);
    return text ? (this->*file->write)(group, *text) : EINVAL;
}

std::string WorkingsetModel::ReadState(int monitor) {
    return At(monitor).word;
}

std::string WorkingsetModel::ReadData(int monitor) {
    const std::optional<SceneLine>& bound = At(monitor).bound;
    if (!bound) {
        return "";
    }
    const RecordState state = pages_.StateOf(*bound);
    return "RecordState:" + std::string(RecordStateText(state)) + "\nUid: " + std::to_string(bound->uid) +
           "\nPid: " + std::to_string(bound->pid) + "\nName: " + bound->scene + "\n";
}

std::string WorkingsetModel::ReadGroup(int group) {
    return groups_.Text(group);
}

std::string WorkingsetModel::ReadDfxInfo(int /*group*/) {
    return stats_.InfoText();
}

std::string WorkingsetModel::ReadDfxError(int /*group*/) {
    return stats_.ErrorText();
}

int WorkingsetModel::WriteState(int monitor, std::string_view text) {
    for (const Command& command : COMMANDS) {
        if (command.word != text || (monitor != 0 && !command.everyMonitor)) {
            continue;
        }
        if (command.act != nullptr) {
            (this->*command.act)(monitor);
        }
        if (!command.nextWord.empty()) {
            ChangeWord(monitor, command.nextWord);
        }
        return 0;
    }
    return EINVAL;
}

int WorkingsetModel::WriteData(int monitor, std::string_view text) {
    std::optional<SceneLine> line = ParseSceneLine(text);
    if (!line) {
        return EINVAL;
    }
    Monitor& at = At(monitor);
    // The same scene again is how a monitor learns the number of a process that was only expected before.
    if (at.bound && at.bound->scene != line->scene) {
        DropCollection(monitor);
    }
    const RecordState state = pages_.Bind(monitor, *line);
    facts_.push_back(BindEntry{monitor, line->uid, line->pid, line->scene, std::string(RecordStateText(state))});
    at.bound = std::move(line);
    BeginCollectionIfAtWork(monitor);
    return 0;
}

int WorkingsetModel::WriteGroup(int group, std::string_view text) {
    const std::optional<int32_t> pid = ParsePid(text);
    if (!pid) {
        return EINVAL;
    }
    const std::optional<int> before = groups_.GroupOf(*pid);
    if (before == group) {
        return 0;
    }
    groups_.Move(*pid, group);
    if (before && *before != ROOT && At(*before).collecting) {
        pages_.Detach(*before, *pid);
    }
    if (group == ROOT) {
        return 0;
    }
    if (At(group).collecting) {
        pages_.Attach(group, *pid);
    } else {
        BeginCollectionIfAtWork(group);
    }
    return 0;
}

int WorkingsetModel::WriteClearYoung(int /*monitor*/, std::string_view text) {
    const std::optional<int32_t> pid = ParsePid(text);
    if (!pid) {
        return EINVAL;
    }
    pages_.ClearYoung(*pid);
    return 0;
}

int WorkingsetModel::WriteClearRecord(int /*group*/, std::string_view text) {
    pages_.ClearRecord(std::string(text));
    return 0;
}

int WorkingsetModel::WriteDfxInfo(int /*group*/, std::string_view text) {
    if (text != "0") {
        return EINVAL;
    }
    stats_.ResetCounts();
    return 0;
}

void WorkingsetModel::BeginCollectionIfAtWork(int monitor) {
    Monitor& at = At(monitor);
    const bool atWork = at.word == AT_WORK_WORDS[0] || at.word == AT_WORK_WORDS[1];
    if (at.collecting || !at.bound || !atWork) {
        return;
    }
    if (groups_.IsEmpty(monitor)) {
        if (at.word == AT_WORK_WORDS[0] && at.bound->pid > 0) {
            pages_.Watch(monitor, *at.bound);
        }
        return;
    }
    at.collecting = true;
    pages_.Begin(monitor, *at.bound);
    for (const int32_t pid : groups_.Members(monitor)) {
        pages_.Attach(monitor, pid);
    }
}

void WorkingsetModel::KeepCollection(int monitor) {
    Monitor& at = At(monitor);
    if (std::exchange(at.collecting, false)) {
        const KeptRecord kept = pages_.Keep(monitor);
        if (kept.pages != 0) {
            facts_.push_back(RecordEntry{at.bound->scene, kept.pages});
            NoteFileError(at.bound->scene, kept.fileError);
        }
    }
    pages_.EndWork(monitor, true);
}

void WorkingsetModel::DropCollection(int monitor) {
    if (std::exchange(At(monitor).collecting, false)) {
        pages_.Drop(monitor);
    }
    pages_.EndWork(monitor, false);
}

void WorkingsetModel::BackUpRecords(int /*monitor*/) {
    for (const auto& [scene, error] : pages_.BackUp()) {
        NoteFileError(scene, error);
    }
}

void WorkingsetModel::ChangeWord(int monitor, std::string_view word) {
    Monitor& at = At(monitor);
    if (at.word != word) {
        at.word = word;
        facts_.push_back(MonitorEntry{monitor, at.word});
    }
    BeginCollectionIfAtWork(monitor);
}

// A record whose file is gone stays a record in the cache, which is nothing to complain of.
void WorkingsetModel::NoteFileError(const std::string& scene, int error) {
    if (error != 0 && error != ENOENT && IsLoggable(LogLevel::WARN)) {
        facts_.push_back(
            LogEntry{LogLevel::WARN, "KERNEL", "workingset: record of " + scene + " not written: " + ErrnoName(error)});
    }
}

void WorkingsetModel::AppendFacts() {
    for (JournalFact& fact : facts_) {
        Journal::GetInstance().Append(std::move(fact));
    }
    facts_.clear();
}

void WorkingsetModel::RemoveProcess(int32_t pid) {
    MutexLock lock(mutex_);
    if (groups_.GroupOf(pid) == ROOT) {
        groups_.Remove(pid);
    }
}

void WorkingsetModel::Preread(int monitor) {
    std::optional<SceneLine> bound;
    if (monitor >= 0 && monitor < MONITOR_COUNT) {
        MutexLock lock(mutex_);
        bound = At(monitor).bound;
    }
    if (!bound) {
        NotePreread(monitor, "", {0, PrereadResult::NO_READ});
        return;
    }
    pages_.Preread(*bound, [this, monitor, scene = bound->scene](const PrereadResult& result) {
        NotePreread(monitor, scene, result);
    });
}

void WorkingsetModel::NotePreread(int monitor, const std::string& scene, const PrereadResult& result) {
    MutexLock lock(mutex_);
    if (result.failure.empty()) {
        stats_.Succeed(result.bytes);
    } else {
        stats_.Fail(result.failure, result.bytes);
    }
    facts_.push_back(PrereadEntry{monitor, scene, result.bytes, result.failure});
    AppendFacts();
}

void WorkingsetModel::SetMonitorState(int monitor, const std::string& word) {
    MutexLock lock(mutex_);
    ChangeWord(monitor, word);
    AppendFacts();
}

void WorkingsetModel::SetDfxInfo(int64_t succ, int64_t fail, const std::string& size) {
    MutexLock lock(mutex_);
    stats_.SetCounts(succ, fail, size);
}

void WorkingsetModel::SetDfxError(const std::string& code) {
    MutexLock lock(mutex_);
    stats_.SetError(code);
}

}  // namespace ZYRA::Host
