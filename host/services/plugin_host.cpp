// SPDX-License-Identifier: Apache-2.0
#include "host/runtime/journal.h"
#include "host/services/device_state.h"
#include "platform/plugin.h"
#include "platform/plugin_mgr.h"

// The resource-schedule service's own side of the plugin interface.

namespace ZYRA::ResourceSchedule {

namespace {

constexpr char PLUGIN_NAME[] = "IO_SCHED";

}  // namespace

Plugin::~Plugin() = default;

PluginMgr& PluginMgr::GetInstance() {
    static PluginMgr manager;
    return manager;
}

void PluginMgr::SubscribeResource(const std::string& /*pluginLib*/, uint32_t resType) {
    Host::Journal::GetInstance().Append(Host::SubscriptionEntry{true, resType});
}

void PluginMgr::UnSubscribeResource(const std::string& /*pluginLib*/, uint32_t resType) {
    Host::Journal::GetInstance().Append(Host::SubscriptionEntry{false, resType});
}

PluginConfig PluginMgr::GetConfig(const std::string& pluginName, const std::string& configName) {
    const auto device = Host::DeviceServices::GetInstance().Snapshot();
    const auto config = device->config.find(configName);
    return pluginName == PLUGIN_NAME && config != device->config.end() ? config->second : PluginConfig();
}

}  // namespace ZYRA::ResourceSchedule
