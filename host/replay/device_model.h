// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "host/kernel/fault_table.h"
#include "host/kernel/modelled_pages.h"
#include "host/kernel/record_file.h"
#include "host/kernel/workingset_model.h"
#include "host/replay/json_node.h"
#include "host/services/device_state.h"

namespace ZYRA::Host {

constexpr int MONITOR_COUNT = WorkingsetModel::MONITOR_COUNT;

// What the page back end and the record cache know of a scene.
struct SceneModel {
    uint64_t pages = ModelledPages::DEFAULT_PAGES;
    RecordState record = RecordState::ABSENT;
};

// The counts of the statistics file. `size` is shown as it stands.
struct DfxInfo {
    int64_t succ = 0;
    int64_t fail = 0;
    std::string size = "0";
};

struct KernelModel {
    std::array<std::string, MONITOR_COUNT> monitorStates = {"OUTOFWORK", "OUTOFWORK"};
    DfxInfo dfxInfo;
    std::string dfxError = "0";
    std::vector<FaultRule> faults;
};

// The virtual device as its document describes it. A new one is the default device: no applications, every switch of
// the plugin on.
struct DeviceModel {
    DeviceModel();

    int64_t startTimeS = 1750000000;  // Wall clock at the start, in seconds since the epoch.
    int64_t romGB = 128;              // A power of two.
    DeviceState state;
    std::map<std::string, SceneModel> scenes;
    KernelModel kernel;
};

// Which parts of a model a patch has mentioned, also when it gave them the value that they had.
struct DeviceChange {
    bool state = false;  // Anything of DeviceModel::state.
    std::set<std::string> scenePages;
    std::set<std::string> sceneRecords;
    std::set<int> monitorStates;
    bool dfxInfo = false;  // Set as a whole: what the patch leaves out comes from the model.
    bool dfxError = false;
    bool faults = false;
};

// Whether the plugin has been started: the size of the storage and the time of the start cannot change any more then.
enum class DevicePhase { DESCRIBING, RUNNING };

// Reads a device document as a JSON Merge Patch (RFC 7386) on the model: what it does not mention stays, null restores
// a default or takes an entry out of its map. A model's document is a patch on the default model. Every value is
// checked by itself, so a patch that fits one model fits every model.
// Throws InputFailure; the model is then between old and new.
DeviceChange ApplyDevicePatch(const JsonNode& patch, DevicePhase phase, DeviceModel& model);

// The model that a file holds. On failure returns nothing and fills `error`.
std::optional<DeviceModel> LoadDeviceModel(const std::string& file, InputError& error);

}  // namespace ZYRA::Host
