// SPDX-License-Identifier: Apache-2.0
#include "io_limit/io_limit_config_info.h"

#include <algorithm>

#include "platform/plugin_mgr.h"

namespace ZYRA::ResourceSchedule {

namespace {

constexpr char PLUGIN_NAME[] = "IO_SCHED";
constexpr char CONFIG_NAME[] = "IoLimit";
constexpr char TYPE_PROPERTY[] = "type";
constexpr char SWITCH[] = "switch";
constexpr char SWITCHED_ON[] = "1";

}  // namespace

IoLimitConfigInfo& IoLimitConfigInfo::GetInstance() {
    static IoLimitConfigInfo instance;
    return instance;
}

void IoLimitConfigInfo::Init() {
    InitIoLimitSwitch();
}

// The first switch item with a value decides.
void IoLimitConfigInfo::InitIoLimitSwitch() {
    const PluginConfig config = PluginMgr::GetInstance().GetConfig(PLUGIN_NAME, CONFIG_NAME);
    for (const Item& item : config.itemList) {
        const auto type = item.itemProperties.find(TYPE_PROPERTY);
        if (type == item.itemProperties.end() || type->second != SWITCH) {
            continue;
        }
        const auto subItem = std::find_if(item.subItemList.begin(), item.subItemList.end(),
                                          [](const SubItem& candidate) { return candidate.name == SWITCH; });
        if (subItem != item.subItemList.end()) {
            isIoLimitEnabled = subItem->value == SWITCHED_ON;
            return;
        }
    }
}

}  // namespace ZYRA::ResourceSchedule
