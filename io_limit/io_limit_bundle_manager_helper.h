// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/bundle_mgr.h"
#include "platform/mutex.h"

namespace ZYRA::ResourceSchedule {

// Asks the bundle manager for installation records. The proxy is looked up on first need and then kept, also when the
// service dies. Any thread.
class IoLimitBundleManagerHelper {
public:
    static IoLimitBundleManagerHelper& GetInstance();

    IoLimitBundleManagerHelper(const IoLimitBundleManagerHelper&) = delete;
    IoLimitBundleManagerHelper& operator=(const IoLimitBundleManagerHelper&) = delete;

    // Looks the proxy up, unless it is held already. Returns whether it is held now.
    bool Connect();

    // Returns false, and leaves `info` as it was, when the service is not there or knows no such application of that
    // user.
    bool GetApplicationInfo(const std::string& bundleName, int32_t flags, int32_t userId, ApplicationInfo& info);

private:
    IoLimitBundleManagerHelper() = default;

    std::shared_ptr<BundleMgr> Proxy();

    Mutex mutex_;
    // Null until Connect has succeeded; never replaced after that.
    std::shared_ptr<BundleMgr> bundleMgr_ GUARDED_BY(mutex_);
};

}  // namespace ZYRA::ResourceSchedule
