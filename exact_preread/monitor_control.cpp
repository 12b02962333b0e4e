// SPDX-License-Identifier: Apache-2.0
// The monitors' control files and cgroups.

#include <fcntl.h>

#include <cerrno>
#include <nlohmann/json.hpp>

#include "exact_preread/exact_preread_executor.h"
#include "exact_preread/retry_on_eintr.h"
#include "exact_preread/unique_fd.h"
#include "exact_preread/workingset_paths.h"
#include "frame/common/common_util.h"
#include "frame/common/executor_request.h"
#include "frame/common/file_system.h"
#include "frame/common/io_sched_log.h"
#include "platform/executor_client.h"
#include "platform/file_util.h"
#include "platform/trace.h"

namespace ZYRA::ResourceSchedule {

bool ExactPrereadExecutor::GetMonitorState(int8_t monitorIdx, std::string& state) {
    if (!IsMonitor(monitorIdx)) {
        EP_LOGE("param error: monitorIdx:%{public}d ", monitorIdx);
        return false;
    }
    std::string realPath;
    if (!FileSystem::GetRealPath(MonitorFile(monitorIdx, STATE_FILE), realPath)) {
        EP_LOGE("failed to get real path, errno: %{public}d", errno);
        return false;
    }
    std::string content;
    LoadStringFromFile(realPath, content);
    state = CommonUtil::StringTrim(content);
    return true;
}

bool ExactPrereadExecutor::ChangeMonitorState(int8_t monitorIdx, const std::string& option) {
    EP_LOGD("option:%{public}s ", option.c_str());
    if (!ChangeMonitorPropertyContent(MonitorFile(monitorIdx, STATE_FILE), option)) {
        EP_LOGE("change monitor: %{public}d to state:%{public}s failed.", monitorIdx, option.c_str());
        return false;
    }
    return true;
}

bool ExactPrereadExecutor::ChangeMonitorPropertyContent(const std::string& path, const std::string& content) {
    if (path.empty() || content.empty()) {
        EP_LOGE("invalid params.");
        return false;
    }
    std::string realPath;
    if (!FileSystem::GetRealPath(path, realPath)) {
        EP_LOGE("failed to get real path, errno: %{public}d", errno);
        return false;
    }
    const UniqueFd fd(RetryOnEintr([&realPath] { return open(realPath.c_str(), O_WRONLY | O_CLOEXEC); }));
    if (!fd.IsValid()) {
        EP_LOGE("failed. file: %{private}s, fd = %{public}d", realPath.c_str(), fd.Get());
        return false;
    }
    return SaveStringToFd(fd.Get(), content);
}

bool ExactPrereadExecutor::AttachProcessToCgroup(int8_t monitorIdx, bool isProcess, int pid) {
    const std::string path = MonitorFile(monitorIdx, isProcess ? PROCS_FILE : TASKS_FILE);
    if (!ChangeMonitorPropertyContent(path, std::to_string(pid))) {
        EP_LOGE("failed to attach pid: %{public}d to monitor:%{public}d.", pid, monitorIdx);
        return false;
    }
    EP_LOGD("attach pid: %{public}d, to monitor: %{public}d.", pid, monitorIdx);
    return true;
}

bool ExactPrereadExecutor::DetachProcessFromCgroup(const std::string& pid) {
    if (!ChangeMonitorPropertyContent(std::string(WORKINGSET_ROOT) + PROCS_FILE, pid)) {
        EP_LOGE("detach pid from cgroup failed.");
        return false;
    }
    return true;
}

bool ExactPrereadExecutor::DetachAllProcessFromCgroup(int8_t monitorIdx) {
    std::string realPath;
    if (!FileSystem::GetRealPath(MonitorFile(monitorIdx, PROCS_FILE), realPath)) {
        EP_LOGE("failed to get real path, errno: %{public}d", errno);
        return false;
    }
    std::vector<std::string> pids;
    if (!FileSystem::ReadLinesFromFile(realPath, pids)) {
        EP_LOGE("failed to read file: %{private}s", realPath.c_str());
        return false;
    }
    for (const std::string& pid : pids) {
        if (!DetachProcessFromCgroup(pid)) {
            EP_LOGE("failed to detach pids from cgroup.");
            return false;
        }
    }
    EP_LOGD("detach pid: [%{private}s], from monitor: %{public}d", DumpPidsInfo(pids).c_str(), monitorIdx);
    return true;
}

std::string ExactPrereadExecutor::DumpPidsInfo(const std::vector<std::string>& pids) {
    std::string text;
    for (const std::string& pid : pids) {
        if (&pid != &pids.front()) {
            text += ",";
        }
        text += pid;
    }
    return text;
}

bool ExactPrereadExecutor::ClearYoung(int8_t monitorIdx, const std::string& pid) {
    const std::string path = MonitorFile(monitorIdx, CLEAR_YOUNG_FILE);
    if (!ChangeMonitorPropertyContent(path, pid)) {
        EP_LOGE("write %{public}s to filePath: %{private}s failed.", pid.c_str(), path.c_str());
        return false;
    }
    return true;
}

void ExactPrereadExecutor::AsyncStartPreread(const SceneInfo& scene, int8_t monitorIdx) {
    {
        const TraceSpan span(TRACE_TAG_RESSCHED, "AsyncStartPreread");
        nlohmann::json payload = nlohmann::json::object();
        payload["index"] = std::to_string(monitorIdx);
        payload["appPid"] = std::to_string(scene.pid);
        payload[EXT_TYPE_KEY] = EXT_TYPE_IO_SCHED;
        ExecutorClient::GetInstance().SendRequestAsync(EXECUTOR_RES_TYPE_EXTENSION, EXECUTOR_VALUE_PREREAD, payload);
    }
    // The request has only been sent: a failure that is there now is that of an earlier preread.
    ReportExactPrereadFailureDfx(scene);
}

bool ExactPrereadExecutor::EnableExactFaultAround() {
    if (!SaveStringToFile(FAULT_AROUND_SWITCH, "1", true)) {
        EP_LOGE("failed to enable exact fault around, path:%{private}s", FAULT_AROUND_SWITCH);
        return false;
    }
    return true;
}

bool ExactPrereadExecutor::BackupAllRecords() {
    // The first monitor stands for the whole facility here.
    return ChangeMonitorState(0, STATE_BACKUP);
}

}  // namespace ZYRA::ResourceSchedule
