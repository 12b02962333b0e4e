// SPDX-License-Identifier: Apache-2.0
#include "io_limit/io_limit_bundle_manager_helper.h"

#include "frame/common/io_sched_log.h"
#include "platform/service_registry.h"

namespace ZYRA::ResourceSchedule {

IoLimitBundleManagerHelper& IoLimitBundleManagerHelper::GetInstance() {
    static IoLimitBundleManagerHelper instance;
    return instance;
}

std::shared_ptr<BundleMgr> IoLimitBundleManagerHelper::Proxy() {
    MutexLock lock(mutex_);
    return bundleMgr_;
}

bool IoLimitBundleManagerHelper::Connect() {
    if (Proxy() != nullptr) {
        return true;
    }
    const auto registry = ServiceRegistry::GetInstance();
    if (registry == nullptr) {
        IOSCHED_LOGD("get SystemAbilityManager failed");
        return false;
    }
    const auto remote = registry->GetService(BUNDLE_MGR_SERVICE_ID);
    if (remote == nullptr) {
        IOSCHED_LOGD("get Bundle Manager failed");
        return false;
    }
    const auto bundleMgr = InterfaceCast<BundleMgr>(remote);
    if (bundleMgr == nullptr) {
        IOSCHED_LOGD("get bundleMgr failed");
        return false;
    }
    MutexLock lock(mutex_);
    if (bundleMgr_ == nullptr) {
        bundleMgr_ = bundleMgr;
    }
    return true;
}

bool IoLimitBundleManagerHelper::GetApplicationInfo(const std::string& bundleName, int32_t flags, int32_t userId,
                                                    ApplicationInfo& info) {
    IOSCHED_LOGD("start get application info");
    Connect();
    const auto bundleMgr = Proxy();
    IOSCHED_LOGD("bundleMgr is null: %{public}d ", bundleMgr == nullptr);
    return bundleMgr != nullptr && bundleMgr->GetApplicationInfo(bundleName, flags, userId, info);
}

}  // namespace ZYRA::ResourceSchedule
