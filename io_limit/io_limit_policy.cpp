// SPDX-License-Identifier: Apache-2.0
// Who is limited, for how long, and the requests that make it so.

#include <algorithm>
#include <utility>

#include "frame/common/executor_request.h"
#include "frame/common/io_sched_log.h"
#include "io_limit/io_limit_handler.h"
#include "io_limit/io_limit_paths.h"
#include "platform/executor_client.h"
#include "platform/suspend_manager_client.h"

namespace ZYRA::ResourceSchedule {

namespace {

constexpr char FILE_PATH_KEY[] = "filePath";
constexpr char CONTENT_KEY[] = "content";
constexpr char LIST_KEY[] = "list";

constexpr char SWITCH_ON[] = "1";
constexpr char SWITCH_OFF[] = "0";

constexpr char LIFT_TASK[] = "IO_LIMIT";
constexpr int64_t APP_START_DELAY_MS = 3000;

// The camera's limits last longer than those of other applications.
constexpr char CAMERA_BUNDLE[] = "com.zelmar.qubos.camera";
constexpr int64_t CAMERA_START_DELAY_MS = 5000;

}  // namespace

void IolimitHandler::AppStartLimitRules(const std::string& bundleName, const std::string& uid) {
    GetAppInfo(uid);
    UnLimitForegroundPid();
    LimitBackgroundPid();
    // A lift that is under way now would switch off what is switched on here.
    SupersedeLift();
    SwitchLimitsOn();
    if (bundleName == CAMERA_BUNDLE) {
        IOSCHED_LOGI("bundname is camara");
        AppStartEffectTime(CAMERA_START_DELAY_MS);
    } else {
        AppStartEffectTime(APP_START_DELAY_MS);
    }
}

void IolimitHandler::UnLimitForegroundPid() {
    for (const AppStateData& app : foregroundApps_) {
        SendWriteCmd(IONORMAL_PROCS, std::to_string(app.pid));
        IOSCHED_LOGI("UID %{public}d PID %{public}d has been written", app.uid, app.pid);
    }
}

void IolimitHandler::LimitBackgroundPid() {
    const std::vector<std::string> members = GetFileContextInfo(IOCONTROL_PROCS);
    for (const auto& [pid, uid] : backgroundProcesses_) {
        if (IsRemoveSuspendPid(uid, pid)) {
            continue;
        }
        const bool isWhitelisted = whitelist_.contains(uid);
        const char* group = nullptr;
        if (IsInIoFile(members, pid)) {
            group = isWhitelisted ? IONORMAL_PROCS : nullptr;
        } else if (heavyIoUids_.contains(uid)) {
            group = HEAVYIO_PROCS;
        } else if (!isWhitelisted) {
            group = IOCONTROL_PROCS;
        }
        if (group != nullptr) {
            SendWriteCmd(group, std::to_string(pid));
        }
    }
}

bool IolimitHandler::IsRemoveSuspendPid(int32_t uid, int32_t pid) {
    const bool isFrozen = SuspendManagerClient::GetInstance().IsProcessFrozen(uid, pid);
    if (isFrozen) {
        IOSCHED_LOGE("UID %{public}d PID %{public}d has been frozen", uid, pid);
    }
    return isFrozen;
}

void IolimitHandler::SwitchLimitsOn() {
    MutexLock lock(liftMutex_);
    SendWriteCmd(IOCONTROL_SWITCH, SWITCH_ON);
    SendWriteCmd(HEAVYIO_SWITCH, SWITCH_ON);
}

// The last start, or end of a slide, alone decides when the limits are lifted: what was posted before is taken back.
void IolimitHandler::AppStartEffectTime(int64_t delayMs) {
    const auto callback = Callback();
    if (callback == nullptr) {
        return;
    }
    callback->OnTaskRemove(LIFT_TASK);
    const uint64_t generation = SupersedeLift();
    callback->OnTaskPost([this, generation] { LiftLimits(generation); }, LIFT_TASK, delayMs);
}

// No lift posted before takes effect once this has returned. Returns the number of the next one.
uint64_t IolimitHandler::SupersedeLift() {
    MutexLock lock(liftMutex_);
    return ++liftGeneration_;
}

// Runs on the task queue.
void IolimitHandler::LiftLimits(uint64_t generation) {
    MutexLock lock(liftMutex_);
    if (generation == liftGeneration_) {
        SendWriteCmd(IOCONTROL_SWITCH, SWITCH_OFF);
        SendWriteCmd(HEAVYIO_SWITCH, SWITCH_OFF);
    }
}

void IolimitHandler::SendWriteCmd(const std::string& filePath, const std::string& content) {
    // Member by member: a list of pairs would make an array of each first.
    nlohmann::json payload = nlohmann::json::object();
    payload[EXT_TYPE_KEY] = EXT_TYPE_IO_SCHED;
    payload[FILE_PATH_KEY] = filePath;
    payload[CONTENT_KEY] = content;
    ExecutorClient::GetInstance().SendRequestAsync(EXECUTOR_RES_TYPE_EXTENSION, EXECUTOR_VALUE_WRITE_FILE, payload);
    IOSCHED_LOGI("SendRequestAsync content %{public}s", content.c_str());
}

std::vector<std::string> IolimitHandler::GetFileContextInfo(const std::string& filePath) {
    nlohmann::json payload = nlohmann::json::object();
    payload[EXT_TYPE_KEY] = EXT_TYPE_READ_FILE;
    payload[FILE_PATH_KEY] = filePath;
    nlohmann::json reply;
    if (ExecutorClient::GetInstance().SendRequestSync(EXECUTOR_RES_TYPE_QUERY, EXECUTOR_VALUE_READ_FILE, payload,
                                                      reply) != 0) {
        IOSCHED_LOGE("SendRequestSync error");
        return {};
    }
    std::vector<std::string> lines;
    if (const auto list = reply.find(LIST_KEY); list != reply.end() && list->is_array()) {
        lines.reserve(list->size());
        for (nlohmann::json& line : *list) {
            if (line.is_string()) {
                lines.push_back(std::move(line.get_ref<std::string&>()));
            }
        }
    }
    return lines;
}

bool IolimitHandler::IsInIoFile(const std::vector<std::string>& list, int32_t pid) {
    const bool isInFile = std::find(list.begin(), list.end(), std::to_string(pid)) != list.end();
    if (isInFile) {
        IOSCHED_LOGI("pid has exited in file");
    }
    return isInFile;
}

}  // namespace ZYRA::ResourceSchedule
