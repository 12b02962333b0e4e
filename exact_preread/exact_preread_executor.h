// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "exact_preread/work_state_info.h"
#include "exact_preread/work_types.h"

namespace ZYRA::ResourceSchedule {

// Drives the kernel's workingset facility for the scene that WorkStateInfo holds: two monitors, numbered 0 and 1, each
// a folder of control files with a cgroup. Prereading itself is asked of the host's privileged executor.
//
// Held by DelayedSingleton. Main queue only, except for what is said to be for any thread: those operations touch
// nothing but files and what never changes after construction. Every bool is true on success; a failure is logged where
// it occurs.
class ExactPrereadExecutor {
public:
    ExactPrereadExecutor();
    ExactPrereadExecutor(const ExactPrereadExecutor&) = delete;
    ExactPrereadExecutor& operator=(const ExactPrereadExecutor&) = delete;

    // Runs one command for the current scene. A failure is left in the work state as WORK_FAILED.
    void ExecuteCommand(ExecutorCommand cmd);
    // The normal end of the work. On failure the work state is kept.
    bool StopCurrentWork();
    // Ends the work whatever happens.
    void ForceStopCurrentWork();

    // Binding the current scene to a monitor.

    // The gate of every start command: keeps the monitor that is bound, otherwise finds and binds a free one.
    bool CheckAndBindMonitorBeforeWorkStart();
    // Finds a free monitor. One that was found busy four times in a row is reset and counts as free. On failure
    // `monitorIdx` stays as it was.
    bool GetAvailableMonitor(int8_t& monitorIdx);
    bool BindCurrentSceneToMonitor(int8_t monitorIdx);
    bool WriteSceneInfoToMonitor(const SceneInfo& scene, int8_t monitorIdx);
    // Whether the bound monitor is still paused; resets it when it is not.
    bool CheckSceneBindingMonitor();
    // Empties the monitor's cgroup and aborts what it does.
    static bool ResetMonitorInInvalidState(int8_t monitorIdx);

    // Control files. Any thread.

    // A file that cannot be read yields an empty state, which is no failure: callers take it for a busy monitor.
    static bool GetMonitorState(int8_t monitorIdx, std::string& state);
    static bool ChangeMonitorState(int8_t monitorIdx, const std::string& option);
    // Writes `content` in one piece to an existing file.
    static bool ChangeMonitorPropertyContent(const std::string& path, const std::string& content);
    // Puts the process (or only the thread of that id) into the monitor's cgroup.
    static bool AttachProcessToCgroup(int8_t monitorIdx, bool isProcess, int pid);
    // Moves every process of the monitor's cgroup back to the root cgroup; stops at the first that cannot be moved.
    static bool DetachAllProcessFromCgroup(int8_t monitorIdx);
    static std::string DumpPidsInfo(const std::vector<std::string>& pids);
    // Makes the kernel forget which pages the process has touched so far.
    static bool ClearYoung(int8_t monitorIdx, const std::string& pid);
    // Asks for the preread of the record of the scene that is bound to the monitor, and does not wait for it.
    static void AsyncStartPreread(const SceneInfo& scene, int8_t monitorIdx);
    static bool EnableExactFaultAround();
    // Asks the kernel to write the records in its cache to their files.
    static bool BackupAllRecords();

    // Record files. Any thread. A scene's record file is the record directory followed by the scene name; the plugin
    // creates it empty and the kernel fills it.

    // What exists already is left as it is, whatever it is.
    static bool CreateDirectoryFile(const std::string& path);
    static bool CreateRegularFile(const std::string& path);
    // What does not exist counts as removed. Folders must be empty.
    static bool RemoveDirectoryFile(const std::string& path);
    static bool RemoveRegularFile(const std::string& path);
    bool CreateRecordFile(const std::string& bundleName, const std::string& rest) const;
    bool CreateSceneRecordFile(const std::string& sceneName) const;
    // Removes the record file, then the kernel's cached record.
    static void RemoveSceneRecord(const std::string& sceneName);
    // Removes every record of the bundle, then its folder.
    static bool RemoveBundleRecord(const std::string& bundleName);
    static bool ClearSceneRecordCache(const std::string& sceneName);
    // Reads what the monitor reports about the scene bound to it. On failure `state` stays as it was.
    static bool GetRecordInfo(int8_t monitorIdx, RecordState& state);
    static void ParseRecordInfoLine(RecordInfo& info, const std::string& line);

    // Reports. Any thread.

    // Reports the kernel's counts of prereads as a statistic event, and resets them.
    static void ReportExactPrereadDfx();
    // Reports the kernel's last failure, if there is one, as a fault event of that scene.
    static void ReportExactPrereadFailureDfx(const SceneInfo& scene);

private:
    using CommandHandler = std::function<bool(ExactPrereadExecutor&)>;

    static bool CheckRecordDirectory();
    static bool DetachProcessFromCgroup(const std::string& pid);

    // The commands' work functions.
    bool StartAppStartupCollectWork();
    bool StartAppStartupPrereadWork();
    bool ContinueAppStartupCollectWork();
    bool StartAppIntraPrereadCollectWork();
    bool PauseCollectWork();
    bool PauseAllCollectWork();
    bool AbortCurrentWork();

    // Attaches the scene's process, makes its record file and sets WORK_COLLECTING.
    bool StartCollect();
    void RequestPreread();

    // Whether every one of the bits is set.
    bool HasWorkState(uint8_t bits) const { return (workStateInfo_->workState & bits) == bits; }
    void SetWorkState(uint8_t bits) { workStateInfo_->workState |= bits; }
    void ClearWorkState(uint8_t bits) { workStateInfo_->workState &= static_cast<uint8_t>(~bits); }

    // Constant after construction. Without the record directory nothing is collected.
    const bool isRecordDirectoryExisted_;
    const std::shared_ptr<WorkStateInfo> workStateInfo_;
    const std::unordered_map<ExecutorCommand, CommandHandler> commandHandlers_;
    const std::unordered_map<ExecutorCommand, std::string> commandNames_;

    // Main queue only. For each monitor: how often in a row it was found busy.
    std::vector<uint8_t> monitorStopCounts_;
};

}  // namespace ZYRA::ResourceSchedule
