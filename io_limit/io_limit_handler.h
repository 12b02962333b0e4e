// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "frame/common/io_sched_event_callback.h"
#include "platform/app_mgr.h"
#include "platform/mutex.h"

namespace ZYRA::ResourceSchedule {

// Why a uid is on the white list: bit numbers, named after what puts it there.
enum class WhitelistKind : uint32_t {
    CONTINUOUS_TASK = 0,
    RES_TYPE_12 = 1,
    RES_TYPE_3_AND_4 = 2,
    RES_TYPE_70_AND_83 = 3,
};

// Keeps background processes from the disk while an application starts or the user slides: puts them into limited
// groups of the kernel, switches the limits on, and lifts them a little later. Every file is written, and read, by the
// executor. Events are handled on the main queue only, and do nothing before Init and after Deinit; the lift runs on
// the task queue.
class IolimitHandler {
public:
    static IolimitHandler& GetInstance();

    IolimitHandler(const IolimitHandler&) = delete;
    IolimitHandler& operator=(const IolimitHandler&) = delete;

    // Host threads, one at a time; events may be handled meanwhile. What is known of white lists and system
    // applications outlives a Deinit.
    void Init();
    void Deinit();

    // Notes the application, if it is one of the system.
    void HandleProcessStart(const nlohmann::json& payload);
    void HandleAppStart(const nlohmann::json& payload);
    // A slide limits from its start on. It is its end that posts the lift, in place of one that is pending.
    void HandleSlideStart();
    void HandleSlideEnd();
    // A uid is on the white list for as long as any kind has it there.
    void HandleWhitelistInsert(const nlohmann::json& payload, WhitelistKind kind);
    void HandleWhitelistErase(const nlohmann::json& payload, WhitelistKind kind);
    // A continuous task that uploads or downloads makes its uid one of heavy IO; any other puts it on the white list.
    void HandleContinuousBegin(const nlohmann::json& payload);
    void HandleContinuousEnd(const nlohmann::json& payload);

private:
    IolimitHandler();

    // The policy.
    void AppStartLimitRules(const std::string& bundleName, const std::string& uid);
    void UnLimitForegroundPid();
    void LimitBackgroundPid();
    void SwitchLimitsOn();
    void AppStartEffectTime(int64_t delayMs);
    uint64_t SupersedeLift();
    void LiftLimits(uint64_t generation);

    // Who runs.
    bool GetAppMgrProxy();
    std::shared_ptr<AppMgr> AppMgrProxy();
    void InitSystemAppList();
    void CheckIsRemoveAndSystem(int32_t uid, const std::string& bundleName);
    void GetAppInfo(const std::string& uid);
    void GetForegroundAppInfo(AppMgr& appMgr, int32_t uid, const std::vector<RunningProcessInfo>& processes);
    void GetBackgroundAppInfo(const std::vector<RunningProcessInfo>& processes);
    static bool IsRemoveSuspendPid(int32_t uid, int32_t pid);

    // The executor's requests.
    static void SendWriteCmd(const std::string& filePath, const std::string& content);
    static std::vector<std::string> GetFileContextInfo(const std::string& filePath);
    static bool IsInIoFile(const std::vector<std::string>& list, int32_t pid);

    static bool IsUpDownEvent(const nlohmann::json& payload);
    static void ListInsert(const nlohmann::json& payload, std::set<int32_t>& uids);
    static void ListErase(const nlohmann::json& payload, std::set<int32_t>& uids);

    std::shared_ptr<IOSchedEventCallback> Callback();

    std::atomic<bool> isInited_{false};

    // Main queue only. The foreground records are those of the application that starts.
    std::vector<AppStateData> foregroundApps_;
    std::map<int32_t, uint32_t> whitelist_;           // A bit for each WhitelistKind, by uid.
    std::set<int32_t> heavyIoUids_;                   // Those with an upload or a download.
    std::map<int32_t, int32_t> backgroundProcesses_;  // The uid of each process that is to be limited, by pid.

    Mutex mutex_;
    std::shared_ptr<IOSchedEventCallback> callback_ GUARDED_BY(mutex_);
    // Null until it was found for the first time; kept from then on, also when the service dies.
    std::shared_ptr<AppMgr> appMgrProxy_ GUARDED_BY(mutex_);

    // Bundle names of system applications, and how often a process has shown each. Never cleared.
    Mutex systemAppMutex_;
    std::unordered_map<std::string, uint64_t> systemAppList GUARDED_BY(systemAppMutex_);

    // A lift may be on its way on the task queue, where it cannot be cancelled any more, when a new start supersedes
    // it: it takes effect only if its number is still the latest. The lock makes the writing of both switches one step;
    // nothing but the executor and the log is called with it held.
    Mutex liftMutex_;
    uint64_t liftGeneration_ GUARDED_BY(liftMutex_) = 0;
};

}  // namespace ZYRA::ResourceSchedule
