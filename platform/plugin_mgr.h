// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <list>
#include <map>
#include <string>

#include "platform/platform_api.h"

namespace ZYRA::ResourceSchedule {

// One named value inside a configuration item.
struct SubItem {
    std::string name;
    std::string value;
    std::map<std::string, std::string> properties;
};

// One configuration item: properties that say what it is, and its values in the order of the file.
struct Item {
    std::map<std::string, std::string> itemProperties;
    std::list<SubItem> subItemList;
};

// One named configuration of a plugin; without items when the host has none of that name.
struct PluginConfig {
    std::list<Item> itemList;
};

// The service's side of the plugin interface. Every operation is thread-safe and may be called with any lock of the
// plugin held.
class PLATFORM_API PluginMgr {
public:
    static PluginMgr& GetInstance();

    // From now on events of `resType` are dispatched to the plugin of that library. Repeats have no effect.
    void SubscribeResource(const std::string& pluginLib, uint32_t resType);
    // Ends that; events already dispatched may still be on their way. Unknown pairs have no effect.
    void UnSubscribeResource(const std::string& pluginLib, uint32_t resType);

    // The configuration `configName` of the plugin `pluginName`; an empty one when there is none.
    PluginConfig GetConfig(const std::string& pluginName, const std::string& configName);

private:
    PluginMgr() = default;
};

}  // namespace ZYRA::ResourceSchedule
