// SPDX-License-Identifier: Apache-2.0
#include "host/workload/application.h"

#include <algorithm>
#include <utility>

#include "host/replay/device_model.h"
#include "platform/battery_client.h"
#include "platform/plugin_mgr.h"

namespace ZYRA::Host {

namespace {

using nlohmann::json;

constexpr int32_t FIRST_UID = 20010000;
constexpr int64_t ROM_GB = 32;

// The first trainings come every four hours, those after them every eight; the numbers are minutes.
ResourceSchedule::PluginConfig TopSceneConfig() {
    return {{{{{"type", "trainInterval"}},
              {{"init_train_times", "10", {}}, {"init_stage", "240", {}}, {"normal_stage", "480", {}}}}}};
}

json ToJson(const ResourceSchedule::PluginConfig& config) {
    json items = json::array();
    for (const auto& item : config.itemList) {
        json subItems = json::array();
        for (const auto& subItem : item.subItemList) {
            json member = {{"name", subItem.name}, {"value", subItem.value}};
            if (!subItem.properties.empty()) {
                member["properties"] = subItem.properties;
            }
            subItems.push_back(std::move(member));
        }
        items.push_back({{"properties", item.itemProperties}, {"subItems", std::move(subItems)}});
    }
    return items;
}

}  // namespace

Application NewApplication(std::string bundleName, size_t number, Random& random) {
    constexpr int64_t LEAST = 2000;
    constexpr int64_t MOST = 9000;
    Application app{std::move(bundleName), FIRST_UID + static_cast<int32_t>(number), random.Between(LEAST, MOST), {}};
    AddPage(app, FIRST_PAGE, random);
    return app;
}

void AddPage(Application& app, std::string url, Random& random) {
    constexpr int64_t LEAST = 100;
    constexpr int64_t MOST = 1500;
    app.pages.push_back({std::move(url), random.Between(LEAST, MOST)});
}

std::string StartupScene(const Application& app) {
    return app.bundleName + "/" + app.bundleName;
}

std::string PageScene(const Application& app, const std::string& pageUrl) {
    static const std::string TOP_ABILITY = DeviceModel().state.topAbility;
    std::string url = pageUrl;
    std::replace(url.begin(), url.end(), '/', '.');
    return app.bundleName + "/" + TOP_ABILITY + "." + url;
}

json InstallPatch(const Application& app) {
    json scenes;
    scenes[StartupScene(app)] = {{"pages", app.startupMemoryPages}};
    for (const AppPage& page : app.pages) {
        scenes[PageScene(app, page.url)] = {{"pages", page.memoryPages}};
    }
    return {{"bundles", {{app.bundleName, {{"uid", app.uid}}}}}, {"scenes", std::move(scenes)}};
}

json DeviceDocument(int64_t startTimeS, bool isCharging, const std::vector<Application>& apps) {
    const DeviceModel fallback;
    json document = {{"startTime", startTimeS},
                     {"romGB", ROM_GB},
                     {"charging", ChargingStatus(isCharging)},
                     {"topAbility", fallback.state.topAbility}};
    for (const auto& [name, items] : fallback.state.config) {
        document["config"][name] = ToJson(name == "topScene" ? TopSceneConfig() : items);
    }
    for (const Application& app : apps) {
        document.merge_patch(InstallPatch(app));
    }
    return document;
}

int32_t ChargingStatus(bool isCharging) {
    return static_cast<int32_t>(isCharging ? BatteryChargeState::ENABLED : BatteryChargeState::DISABLED);
}

}  // namespace ZYRA::Host
