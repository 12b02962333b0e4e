// SPDX-License-Identifier: Apache-2.0
// Which applications belong to the system, which processes run, and whose they are.

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

#include "frame/common/common_util.h"
#include "frame/common/io_sched_log.h"
#include "frame/common/never_destroyed.h"
#include "io_limit/io_limit_bundle_manager_helper.h"
#include "io_limit/io_limit_handler.h"
#include "platform/service_registry.h"

namespace ZYRA::ResourceSchedule {

namespace {

// The platform's partition of uids among the users of the device.
constexpr int32_t UIDS_PER_USER = 200000;

// Limited although they belong to the system.
constexpr std::string_view ALWAYS_LIMITED_BUNDLES[] = {"com.zelmar.qubapp.storefront", "com.zelmar.qubos.settings"};

bool IsAlwaysLimited(const std::string& bundleName) {
    return std::find(std::begin(ALWAYS_LIMITED_BUNDLES), std::end(ALWAYS_LIMITED_BUNDLES), bundleName) !=
           std::end(ALWAYS_LIMITED_BUNDLES);
}

const std::string& FirstBundleOf(const RunningProcessInfo& process) {
    static NeverDestroyed<std::string> none;
    return process.bundleNames.empty() ? none.Get() : process.bundleNames.front();
}

}  // namespace

std::shared_ptr<AppMgr> IolimitHandler::AppMgrProxy() {
    MutexLock lock(mutex_);
    return appMgrProxy_;
}

bool IolimitHandler::GetAppMgrProxy() {
    if (AppMgrProxy() != nullptr) {
        return true;
    }
    const auto registry = ServiceRegistry::GetInstance();
    if (registry == nullptr) {
        IOSCHED_LOGE("GetSystemAbilityManager failed.");
        return false;
    }
    const auto remote = registry->GetService(APP_MGR_SERVICE_ID);
    if (remote == nullptr) {
        IOSCHED_LOGE("GetSystemAbility failed.");
        return false;
    }
    const auto appMgr = InterfaceCast<AppMgr>(remote);
    if (appMgr == nullptr) {
        IOSCHED_LOGE("iface_cast remoteObject failed.");
        return false;
    }
    MutexLock lock(mutex_);
    if (appMgrProxy_ == nullptr) {
        appMgrProxy_ = appMgr;
    }
    return true;
}

void IolimitHandler::InitSystemAppList() {
    if (!GetAppMgrProxy()) {
        IOSCHED_LOGE("GetAppMgrProxy failed");
        return;
    }
    std::vector<RunningProcessInfo> processes;
    if (AppMgrProxy()->GetAllRunningProcesses(processes) != 0) {
        IOSCHED_LOGE("GetAllRunningProcesses failed");
        return;
    }
    for (const RunningProcessInfo& process : processes) {
        if (!process.bundleNames.empty()) {
            CheckIsRemoveAndSystem(process.uid, process.bundleNames.front());
        }
    }
}

void IolimitHandler::CheckIsRemoveAndSystem(int32_t uid, const std::string& bundleName) {
    ApplicationInfo info;
    if (!IoLimitBundleManagerHelper::GetInstance().GetApplicationInfo(bundleName, BUNDLE_FLAG_DEFAULT,
                                                                      uid / UIDS_PER_USER, info)) {
        IOSCHED_LOGI("failed to get applicationInfo, bundleName is %{public}s", bundleName.c_str());
        return;
    }
    if (!info.removable && info.isSystemApp) {
        IOSCHED_LOGI("%{public}s is system app", bundleName.c_str());
        MutexLock lock(systemAppMutex_);
        ++systemAppList[bundleName];
    }
}

void IolimitHandler::GetAppInfo(const std::string& uid) {
    if (!GetAppMgrProxy()) {
        IOSCHED_LOGE("GetAppMgrProxy failed");
        return;
    }
    backgroundProcesses_.clear();
    foregroundApps_.clear();
    const auto appMgr = AppMgrProxy();
    std::vector<RunningProcessInfo> processes;
    if (appMgr->GetAllRunningProcesses(processes) != 0) {
        IOSCHED_LOGE("GetAllRunningProcesses failed");
    }
    if (!uid.empty()) {
        GetForegroundAppInfo(*appMgr, CommonUtil::StringToInt32(uid), processes);
    }
    GetBackgroundAppInfo(processes);
}

// The application that starts is the one of the foreground, also while the app manager has yet to bring it there: then
// every process that it has counts.
void IolimitHandler::GetForegroundAppInfo(AppMgr& appMgr, int32_t uid,
                                          const std::vector<RunningProcessInfo>& processes) {
    std::vector<AppStateData> applications;
    if (appMgr.GetForegroundApplications(applications) != 0) {
        IOSCHED_LOGE("GetForegroundApplications failed");
    }
    for (AppStateData& app : applications) {
        if (app.uid == uid) {
            foregroundApps_.push_back(std::move(app));
        }
    }
    if (!foregroundApps_.empty()) {
        return;
    }
    for (const RunningProcessInfo& process : processes) {
        if (process.uid == uid) {
            foregroundApps_.push_back({FirstBundleOf(process), process.pid, process.uid});
        }
    }
}

void IolimitHandler::GetBackgroundAppInfo(const std::vector<RunningProcessInfo>& processes) {
    IOSCHED_LOGD("GetBackgroundAppInfo");
    for (const RunningProcessInfo& process : processes) {
        const std::string& bundleName = FirstBundleOf(process);
        const bool isForeground = std::any_of(foregroundApps_.begin(), foregroundApps_.end(),
                                              [&](const AppStateData& app) { return app.uid == process.uid; });
        if (isForeground) {
            continue;
        }
        if (IsAlwaysLimited(bundleName)) {
            backgroundProcesses_[process.pid] = process.uid;
            IOSCHED_LOGI("uid %{public}d pid%{public}d %{public}s must limit", process.uid, process.pid,
                         bundleName.c_str());
            continue;
        }
        MutexLock lock(systemAppMutex_);
        if (!systemAppList.contains(bundleName)) {
            backgroundProcesses_[process.pid] = process.uid;
            IOSCHED_LOGI("uid %{public}d pid%{public}d is %{public}s is not system app, must limit", process.uid,
                         process.pid, bundleName.c_str());
        }
    }
}

}  // namespace ZYRA::ResourceSchedule
