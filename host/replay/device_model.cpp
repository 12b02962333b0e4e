// SPDX-License-Identifier: Apache-2.0
#include "host/replay/device_model.h"

#include <cstring>

#include "platform/file_util.h"

namespace ZYRA::Host {

namespace {

using ResourceSchedule::Item;
using ResourceSchedule::PluginConfig;

PluginConfig Switches(std::initializer_list<const char*> names) {
    Item item;
    item.itemProperties = {{"type", "switch"}};
    for (const char* name : names) {
        item.subItemList.push_back({name, "1", {}});
    }
    return {{item}};
}

}  // namespace

DeviceModel::DeviceModel() {
    state.config = {{"exactPreread", Switches({"switch", "app_startup_switch", "app_intra_switch"})},
                    {"topScene", PluginConfig()},
                    {"IoLimit", Switches({"switch"})}};
}

std::optional<DeviceModel> LoadDeviceModel(const std::string& file, InputError& error) {
    std::string text;
    if (!LoadStringFromFile(file, text)) {
        error = {file, 0, std::strerror(errno)};
        return std::nullopt;
    }
    const auto document = ParseLocatedJson(file, text, 1, error);
    if (!document) {
        return std::nullopt;
    }
    try {
        DeviceModel model;
        ApplyDevicePatch(JsonNode(*document), DevicePhase::DESCRIBING, model);
        return model;
    } catch (const InputFailure& failure) {
        error = failure.error;
        return std::nullopt;
    }
}

}  // namespace ZYRA::Host
