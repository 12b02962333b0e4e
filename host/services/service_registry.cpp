// SPDX-License-Identifier: Apache-2.0
#include "platform/service_registry.h"

#include "host/services/device_state.h"
#include "platform/app_mgr.h"
#include "platform/bundle_mgr.h"

namespace ZYRA {

namespace {

std::shared_ptr<const Host::DeviceState> Device() {
    return Host::DeviceServices::GetInstance().Snapshot();
}

class DeviceBundleMgr final : public BundleMgr {
public:
    bool GetApplicationInfo(const std::string& bundleName, int32_t /*flags*/, int32_t userId,
                            ApplicationInfo& info) override {
        constexpr int32_t UIDS_PER_USER = 200000;  // The platform's partition of uids among users.
        const auto device = Device();
        const auto bundle = device->bundles.find(bundleName);
        if (!device->HasService(BUNDLE_MGR_SERVICE_ID) || bundle == device->bundles.end() ||
            (userId != ALL_USER_ID && userId != bundle->second.uid / UIDS_PER_USER)) {
            return false;
        }
        info = {bundleName, bundle->second.systemApp, bundle->second.removable};
        return true;
    }

    bool GetBundleInfos(int32_t /*flags*/, std::vector<BundleInfo>& infos, int32_t /*userId*/) override {
        const auto device = Device();
        if (!device->HasService(BUNDLE_MGR_SERVICE_ID)) {
            return false;
        }
        infos.clear();
        for (const auto& [name, bundle] : device->bundles) {
            infos.push_back({name, bundle.uid});
        }
        return true;
    }
};

class DeviceAppMgr final : public AppMgr {
public:
    int32_t GetAllRunningProcesses(std::vector<RunningProcessInfo>& processes) override {
        const auto device = Device();
        if (!device->HasService(APP_MGR_SERVICE_ID)) {
            return SERVICE_IS_DEAD;
        }
        processes.clear();
        processes.reserve(device->processes.size());
        for (const auto& [pid, process] : device->processes) {
            processes.push_back({pid, process.uid, process.bundles});
        }
        return 0;
    }

    int32_t GetForegroundApplications(std::vector<AppStateData>& applications) override {
        const auto device = Device();
        if (!device->HasService(APP_MGR_SERVICE_ID)) {
            return SERVICE_IS_DEAD;
        }
        applications.clear();
        for (const auto& [pid, process] : device->processes) {
            if (process.foreground) {
                applications.push_back({process.bundles.empty() ? "" : process.bundles.front(), pid, process.uid});
            }
        }
        return 0;
    }

private:
    static constexpr int32_t SERVICE_IS_DEAD = -1;
};

// A service of which only the presence matters.
class PlainService final : public RemoteObject {};

class DeviceRegistry final : public ServiceRegistry {
public:
    std::shared_ptr<RemoteObject> GetService(int32_t serviceId) override {
        if (!Device()->HasService(serviceId)) {
            return nullptr;
        }
        if (serviceId == BUNDLE_MGR_SERVICE_ID) {
            return std::make_shared<DeviceBundleMgr>();
        }
        if (serviceId == APP_MGR_SERVICE_ID) {
            return std::make_shared<DeviceAppMgr>();
        }
        return std::make_shared<PlainService>();
    }
};

}  // namespace

RemoteObject::~RemoteObject() = default;
ServiceRegistry::~ServiceRegistry() = default;
BundleMgr::~BundleMgr() = default;
AppMgr::~AppMgr() = default;

std::shared_ptr<ServiceRegistry> ServiceRegistry::GetInstance() {
    static const auto registry = std::make_shared<DeviceRegistry>();
    return registry;
}

bool BundleMgrClient::GetBundleInfo(const std::string& bundleName, int32_t /*flags*/, BundleInfo& info,
                                    int32_t /*userId*/) {
    const auto device = Device();
    const auto bundle = device->bundles.find(bundleName);
    if (!device->HasService(BUNDLE_MGR_SERVICE_ID) || bundle == device->bundles.end()) {
        return false;
    }
    info = {bundleName, bundle->second.uid};
    return true;
}

}  // namespace ZYRA
