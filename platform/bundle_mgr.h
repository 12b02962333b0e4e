// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/platform_api.h"
#include "platform/service_registry.h"

namespace ZYRA {

// User id that stands for every user of the device.
constexpr int32_t ALL_USER_ID = -3;
// Plain bundle information without extras.
constexpr int32_t BUNDLE_FLAG_DEFAULT = 0;

struct BundleInfo {
    std::string name;
    int32_t uid = -1;
};

struct ApplicationInfo {
    std::string bundleName;
    bool isSystemApp = false;
    bool removable = true;
};

// The bundle manager's remote interface (service 401). Thread-safe. Each query returns false, and leaves its output
// as it was, when the service is gone or knows no such bundle.
class PLATFORM_API BundleMgr : public RemoteObject {
public:
    ~BundleMgr() override;
    // Whether the application is installed for `userId`, and its installation record.
    virtual bool GetApplicationInfo(const std::string& bundleName, int32_t flags, int32_t userId,
                                    ApplicationInfo& info) = 0;
    // Every bundle installed for `userId` (ALL_USER_ID: for any user), in no defined order.
    virtual bool GetBundleInfos(int32_t flags, std::vector<BundleInfo>& infos, int32_t userId) = 0;
};

// A client object that finds the bundle manager by itself for each call. Thread-safe; cheap to create.
class PLATFORM_API BundleMgrClient {
public:
    // Returns false, and leaves `info` as it was, when the bundle is not installed for `userId` (ALL_USER_ID: for no
    // user) or the bundle manager does not answer.
    bool GetBundleInfo(const std::string& bundleName, int32_t flags, BundleInfo& info, int32_t userId);
};

}  // namespace ZYRA
