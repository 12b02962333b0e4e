// SPDX-License-Identifier: Apache-2.0
#include "frame/io_sched_plugin.h"

#include <string>

#include "frame/common/io_sched_log.h"
#include "frame/common/never_destroyed.h"
#include "frame/io_sched_manager.h"
#include "frame/resource_type.h"
#include "io_limit/io_limit.h"
#include "platform/mutex.h"
#include "platform/plugin_mgr.h"
#include "platform/res_data.h"

namespace ZYRA::ResourceSchedule {

namespace {

// In the order of subscription.
constexpr uint32_t SUBSCRIBED_RESOURCES[] = {
    RES_TYPE_ABILITY_START,   RES_TYPE_BUNDLE_ACTION, RES_TYPE_USER_INPUT,   RES_TYPE_PROCESS_START,
    RES_TYPE_PUSH_PAGE,       RES_TYPE_SCREEN,        RES_TYPE_CUST_CONFIG,  RES_TYPE_SLIDE,
    RES_TYPE_CONTINUOUS_TASK, RES_TYPE_WHITELIST_3,   RES_TYPE_WHITELIST_12, RES_TYPE_WHITELIST_83,
    RES_TYPE_WHITELIST_70,    RES_TYPE_UNUSED_1,      RES_TYPE_UNUSED_10011, RES_TYPE_PRELOAD,
};

// Makes enabling and disabling one step each: two of them interleaved could leave a stopped plugin subscribed. Never
// taken by a task.
Mutex switchMutex;

}  // namespace

// The instance is never destroyed, because an export may be called for as long as the library is mapped.
IOSchedPlugin& IOSchedPlugin::GetInstance() {
    static NeverDestroyed<IOSchedPlugin> instance;
    return instance.Get();
}

void IOSchedPlugin::Init() {
    MutexLock lock(switchMutex);
    try {
        IOSchedManager::GetInstance().Init();
        Iolimit::GetInstance().Init();
        const std::string libName = IOSCHED_PLUGIN_LIB_NAME;
        for (const uint32_t resType : SUBSCRIBED_RESOURCES) {
            PluginMgr::GetInstance().SubscribeResource(libName, resType);
        }
    } catch (...) {
        // The host will be told that nothing runs, and will not disable the plugin.
        DisableLocked();
        throw;
    }
    IOSCHED_LOGI_AS("OnPluginInit", "IOSchedPlugin::Init success");
}

void IOSchedPlugin::Disable() {
    MutexLock lock(switchMutex);
    DisableLocked();
    IOSCHED_LOGI("IOSchedPlugin::Disable success");
}

void IOSchedPlugin::DisableLocked() {
    IOSchedManager::GetInstance().Deinit();
    Iolimit::GetInstance().Deinit();
    const std::string libName = IOSCHED_PLUGIN_LIB_NAME;
    for (const uint32_t resType : SUBSCRIBED_RESOURCES) {
        PluginMgr::GetInstance().UnSubscribeResource(libName, resType);
    }
}

void IOSchedPlugin::DispatchResource(const std::shared_ptr<ResData>& data) {
    if (data == nullptr) {
        return;
    }
    IOSCHED_LOGD("IOSchedPlugin::DispatchResource type:%{public}u, value:%{public}lld", data->resType,
                 static_cast<long long>(data->value));
    IOSchedManager::GetInstance().DispatchResource(data);
}

}  // namespace ZYRA::ResourceSchedule
