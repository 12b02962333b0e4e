// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/kernel/control_files.h"
#include "host/kernel/page_backend.h"
#include "host/kernel/preread_stats.h"
#include "host/kernel/process_groups.h"
#include "host/kernel/scene_line.h"
#include "host/runtime/journal.h"
#include "platform/mutex.h"

namespace ZYRA::Host {

// The workingset facility: two monitors, to each of which a scene is bound whose file pages are collected into a record
// or preread from it. A write that is none of the following is refused with EINVAL and changes nothing.
//
// In monitor0/ and monitor1/:
//   workingset.data        takes a scene line (scene_line.h) and binds the scene. What was collected for another scene
//                          is dropped. Shows RecordState:, Uid:, Pid: and Name: of the scene bound last.
//   workingset.state       shows the monitor's word, at first OUTOFWORK. INWORKING, PAUSED and PREREAD become the word.
//                          STOP makes what was collected the scene's record and leaves OUTOFWORK, ABORT drops it.
//                          BACKUP, on monitor 0 only, writes every cached record to its file.
//   cgroup.procs, tasks    take a pid, whose process leaves its group for this one. Show one pid a line.
//   workingset.clearYoung  takes a pid: what that process has touched so far does not count.
// In the root:
//   cgroup.procs, tasks    the group of the processes that were moved out of the monitors.
//   workingset.clearRecord takes a scene's name and drops its cached record.
//   workingset.dfxinfo     counts prereads: Succ:, Fail: and Size: (bytes). Takes "0" and starts afresh.
//   workingset.dfxerror    the code of the last failed preread, "0" while there was none.
//
// A collection runs from the moment at which a scene is bound, the word is INWORKING or PAUSED and a process is in the
// group, all at once. A STOP before that changes no record.
//
// Thread-safe; everything that changes is in the journal in the order in which it changed.
class WorkingsetModel final : public ControlFiles {
public:
    static constexpr int MONITOR_COUNT = 2;

    // `pages` must outlive the model.
    explicit WorkingsetModel(PageBackend& pages) : pages_(pages) {}

    std::string DeviceRoot() const override;
    std::vector<ControlFile> List() const override;
    int Read(std::string_view name, std::string& content) override;
    int Write(std::string_view name, const std::string& content) override;
    bool NeedsDescriptors(std::string_view name, const std::string* command) const override;

    // The process has ended, or is none of the device's any more. What it has done for a monitor stays; in the group of
    // the others it is not shown any more.
    void RemoveProcess(int32_t pid);

    // Prereads the record of the scene that is bound to the monitor, which may go on after the return. Without a
    // record, and for a monitor that does not exist, it is a failed preread.
    void Preread(int monitor);

    // Presets of the device model; they hold at once. The word may be any text. REQUIRES: the monitor exists.
    void SetMonitorState(int monitor, const std::string& word);
    void SetDfxInfo(int64_t succ, int64_t fail, const std::string& size);
    void SetDfxError(const std::string& code);

private:
    struct Monitor {
        std::string word = "OUTOFWORK";
        std::optional<SceneLine> bound;
        // A process was in the group while the monitor was at work on the bound scene.
        bool collecting = false;
    };
    // A file, either of the root or of each monitor. Where no operation is named it is not permitted.
    struct File {
        std::string_view name;
        bool inMonitor;
        std::string (WorkingsetModel::*read)(int group);
        int (WorkingsetModel::*write)(int group, std::string_view text);
    };
    // A word that the state file takes.
    struct Command {
        std::string_view word;
        void (WorkingsetModel::*act)(int monitor);
        std::string_view nextWord;
        bool everyMonitor;
    };

    // The root's group beside those of the monitors, which have the monitors' numbers.
    static constexpr int ROOT = -1;

    static const File FILES[];
    static const Command COMMANDS[];

    static const File* Find(std::string_view name, int& group);
    int Execute(std::string_view name, std::string_view content) REQUIRES(mutex_);

    std::string ReadState(int monitor) REQUIRES(mutex_);
    std::string ReadData(int monitor) REQUIRES(mutex_);
    std::string ReadGroup(int group) REQUIRES(mutex_);
    std::string ReadDfxInfo(int group) REQUIRES(mutex_);
    std::string ReadDfxError(int group) REQUIRES(mutex_);
    int WriteState(int monitor, std::string_view text) REQUIRES(mutex_);
    int WriteData(int monitor, std::string_view text) REQUIRES(mutex_);
    int WriteGroup(int group, std::string_view text) REQUIRES(mutex_);
    int WriteClearYoung(int monitor, std::string_view text) REQUIRES(mutex_);
    int WriteClearRecord(int group, std::string_view text) REQUIRES(mutex_);
    int WriteDfxInfo(int group, std::string_view text) REQUIRES(mutex_);

    void KeepCollection(int monitor) REQUIRES(mutex_);
    void DropCollection(int monitor) REQUIRES(mutex_);
    void BackUpRecords(int monitor) REQUIRES(mutex_);
    void BeginCollectionIfAtWork(int monitor) REQUIRES(mutex_);

    Monitor& At(int monitor) REQUIRES(mutex_) { return monitors_[static_cast<size_t>(monitor)]; }
    void ChangeWord(int monitor, std::string_view word) REQUIRES(mutex_);
    void NoteFileError(const std::string& scene, int error) REQUIRES(mutex_);
    void AppendFacts() REQUIRES(mutex_);
    void NotePreread(int monitor, const std::string& scene, const PrereadResult& result);

    PageBackend& pages_;

    Mutex mutex_;
    std::array<Monitor, MONITOR_COUNT> monitors_ GUARDED_BY(mutex_);
    ProcessGroups groups_ GUARDED_BY(mutex_);
    PrereadStats stats_ GUARDED_BY(mutex_);
    // What a command has caused, kept back until the command itself is in the journal.
    std::vector<JournalFact> facts_ GUARDED_BY(mutex_);
};

}  // namespace ZYRA::Host
