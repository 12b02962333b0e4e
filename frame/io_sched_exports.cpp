// SPDX-License-Identifier: Apache-2.0
#include <memory>
#include <string>
#include <vector>

#include "frame/common/io_sched_log.h"
#include "frame/guarded_run.h"
#include "frame/io_sched_manager.h"
#include "frame/io_sched_plugin.h"

// The entry points of the library; platform/plugin.h says what the host may expect of them. Nothing that happens inside
// leaves them as an exception.
#define IOSCHED_EXPORT extern "C" __attribute__((visibility("default")))

using ZYRA::ResourceSchedule::IOSchedManager;
using ZYRA::ResourceSchedule::IOSchedPlugin;
using ZYRA::ResourceSchedule::ResData;
using ZYRA::ResourceSchedule::RunGuarded;

IOSCHED_EXPORT bool OnPluginInit(std::string& libName) {
    if (libName != ZYRA::ResourceSchedule::IOSCHED_PLUGIN_LIB_NAME) {
        IOSCHED_LOGE("IOSchedPlugin::OnPluginInit lib name is not match");
        return false;
    }
    return RunGuarded(__func__, [] { IOSchedPlugin::GetInstance().Init(); });
}

IOSCHED_EXPORT void OnPluginDisable() {
    RunGuarded(__func__, [] { IOSchedPlugin::GetInstance().Disable(); });
}

IOSCHED_EXPORT void OnDispatchResource(const std::shared_ptr<ResData>& data) {
    RunGuarded(__func__, [&data] { IOSchedPlugin::GetInstance().DispatchResource(data); });
}

IOSCHED_EXPORT void OnDump(const std::vector<std::string>& args, std::string& result) {
    RunGuarded(__func__, [&args, &result] {
        IOSCHED_LOGD_AS("Dump", "IOSchedPlugin::Dump.");
        IOSchedManager::GetInstance().Dump(args, result);
    });
}
