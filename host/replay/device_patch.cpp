// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <bit>
#include <charconv>
#include <climits>

#include "host/replay/device_model.h"
#include "host/replay/printable.h"
#include "host/runtime/errno_names.h"

// One reader for each object of the device document. A member's reader gets null where the patch takes the member away.

namespace ZYRA::Host {

namespace {

using ResourceSchedule::Item;
using ResourceSchedule::PluginConfig;
using ResourceSchedule::SubItem;
using MemberReader = JsonNode::MemberReader;
using ReadMember = std::function<void(const JsonNode&)>;

constexpr int64_t LAST_START_TIME_S = 253402300799;  // The year 9999; in microseconds still a 64-bit number.
constexpr int64_t LARGEST_ROM_GB = 1 << 20;
constexpr int64_t MOST_PAGES = int64_t{1} << 32;
constexpr int64_t LONGEST_DELAY_MS = 3600000;
constexpr int64_t US_PER_MS = 1000;

// Readers of plain values: null restores the fallback.
ReadMember Text(std::string& target, std::string fallback) {
    return [&target, fallback = std::move(fallback)](const JsonNode& node) {
        target = node.IsNull() ? fallback : node.AsText();
    };
}

ReadMember Boolean(bool& target, bool fallback) {
    return [&target, fallback](const JsonNode& node) { target = node.IsNull() ? fallback : node.AsBoolean(); };
}

template <typename Integer>
ReadMember Number(Integer& target, Integer fallback, int64_t lowest, int64_t highest) {
    return [&target, fallback, lowest, highest](const JsonNode& node) {
        target = node.IsNull() ? fallback : static_cast<Integer>(node.AsInteger(lowest, highest));
    };
}

ReadMember Int32(int32_t& target, int32_t fallback) {
    return Number(target, fallback, INT32_MIN, INT32_MAX);
}

// Reads an object whose members are the entries of a map: null takes an entry out, and null for the object as a whole
// restores the default map.
template <typename Map, typename ReadKey, typename ReadValue>
void Entries(const JsonNode& node, Map& map, const Map& fallback, ReadKey readKey, ReadValue readValue) {
    if (node.IsNull()) {
        map = fallback;
        return;
    }
    node.ForEachMember([&](const std::string& name, const JsonNode& member) {
        const auto key = readKey(name, member);
        if (member.IsNull()) {
            map.erase(key);
        } else {
            readValue(member, map[key]);
        }
    });
}

const std::string& TextKey(const std::string& name, const JsonNode& /*member*/) {
    return name;
}

// A number in its plain decimal form, so that no two names are one key.
int32_t NumberKey(const std::string& name, const JsonNode& member) {
    int32_t number = -1;
    std::from_chars(name.data(), name.data() + name.size(), number);
    if (number < 0 || std::to_string(number) != name) {
        member.Fail("the name must be a number from 0 to " + std::to_string(INT32_MAX));
    }
    return number;
}

void ReadTextEntry(const JsonNode& node, std::string& text) {
    text = node.AsText();
}

void ReadBundle(const JsonNode& node, DeviceBundle& bundle) {
    const DeviceBundle fallback;
    node.ReadMembers({{"uid", Int32(bundle.uid, fallback.uid)},
                      {"systemApp", Boolean(bundle.systemApp, fallback.systemApp)},
                      {"removable", Boolean(bundle.removable, fallback.removable)}});
}

void ReadProcess(const JsonNode& node, DeviceProcess& process) {
    const DeviceProcess fallback;
    const auto readBundles = [&process](const JsonNode& bundles) {
        process.bundles.clear();
        if (!bundles.IsNull()) {
            bundles.ForEachElement([&](const JsonNode& bundle) { process.bundles.push_back(bundle.AsText()); });
        }
    };
    node.ReadMembers({{"uid", Int32(process.uid, fallback.uid)},
                      {"bundles", readBundles},
                      {"foreground", Boolean(process.foreground, fallback.foreground)},
                      {"frozen", Boolean(process.frozen, fallback.frozen)}});
}

// Inside an array nothing is merged: null is no value there.
std::map<std::string, std::string> ReadProperties(const JsonNode& node) {
    std::map<std::string, std::string> properties;
    node.ForEachMember(
        [&](const std::string& name, const JsonNode& property) { properties[name] = property.AsText(); });
    return properties;
}

SubItem ReadSubItem(const JsonNode& node) {
    SubItem subItem;
    bool hasName = false;
    bool hasValue = false;
    node.ReadMembers({{"name",
                       [&](const JsonNode& name) {
                           subItem.name = name.AsText();
                           hasName = true;
                       }},
                      {"value",
                       [&](const JsonNode& value) {
                           subItem.value = value.AsText();
                           hasValue = true;
                       }},
                      {"properties", [&](const JsonNode& list) { subItem.properties = ReadProperties(list); }}});
    if (!hasName || !hasValue) {
        node.Fail("needs \"name\" and \"value\"");
    }
    return subItem;
}

PluginConfig ReadPluginConfig(const JsonNode& node) {
    PluginConfig config;
    node.ForEachElement([&](const JsonNode& element) {
        Item item;
        element.ReadMembers({{"properties", [&](const JsonNode& list) { item.itemProperties = ReadProperties(list); }},
                             {"subItems", [&](const JsonNode& list) {
                                  list.ForEachElement([&](const JsonNode& subItem) {
                                      item.subItemList.push_back(ReadSubItem(subItem));
                                  });
                              }}});
        config.itemList.push_back(std::move(item));
    });
    return config;
}

void ReadConfig(const JsonNode& node, std::map<std::string, PluginConfig>& config) {
    const DeviceModel fallback;
    if (node.IsNull()) {
        config = fallback.state.config;
        return;
    }
    const auto named = [&](const char* name) {
        return MemberReader{name, [&config, &fallback, name](const JsonNode& list) {
                                config[name] = list.IsNull() ? fallback.state.config.at(name) : ReadPluginConfig(list);
                            }};
    };
    node.ReadMembers({named("exactPreread"), named("topScene"), named("IoLimit")});
}

void ReadScene(const JsonNode& node, const std::string& name, SceneModel& scene, DeviceChange& change) {
    const SceneModel fallback;
    const auto readRecord = [&](const JsonNode& record) {
        const auto preset = record.IsNull() ? fallback.record : RecordStateFromText(record.AsText());
        if (!preset) {
            record.Fail(Quoted(record.AsText()) + " is none of absent, uptodate, older");
        }
        scene.record = *preset;
        change.sceneRecords.insert(name);
    };
    const auto readPages = [&](const JsonNode& pages) {
        Number(scene.pages, fallback.pages, 0, MOST_PAGES)(pages);
        change.scenePages.insert(name);
    };
    node.ReadMembers({{"pages", readPages}, {"record", readRecord}});
}

// A scene that leaves the model is what an unmentioned scene is: it has the default pages and no record.
void ReadScenes(const JsonNode& node, std::map<std::string, SceneModel>& scenes, DeviceChange& change) {
    const auto forget = [&](const std::string& name) {
        change.scenePages.insert(name);
        change.sceneRecords.insert(name);
    };
    if (node.IsNull()) {
        for (const auto& [name, scene] : scenes) {
            forget(name);
        }
        scenes.clear();
        return;
    }
    node.ForEachMember([&](const std::string& name, const JsonNode& member) {
        if (name.empty()) {
            member.Fail("a scene needs a name");
        }
        if (member.IsNull()) {
            forget(name);
            scenes.erase(name);
        } else {
            ReadScene(member, name, scenes[name], change);
        }
    });
}

void ReadMonitors(const JsonNode& node, KernelModel& kernel, DeviceChange& change) {
    const KernelModel fallback;
    const auto monitor = [&](const char* name, int index) {
        return MemberReader{name, [&kernel, &change, &fallback, index](const JsonNode& member) {
                                std::string& state = kernel.monitorStates.at(static_cast<size_t>(index));
                                const std::string& restored = fallback.monitorStates.at(static_cast<size_t>(index));
                                const ReadMember readState = [&](const JsonNode& word) {
                                    Text(state, restored)(word);
                                    change.monitorStates.insert(index);
                                };
                                if (member.IsNull()) {
                                    readState(member);
                                } else {
                                    member.ReadMembers({{"state", readState}});
                                }
                            }};
    };
    if (node.IsNull()) {
        kernel.monitorStates = fallback.monitorStates;
        change.monitorStates = {0, 1};
        return;
    }
    node.ReadMembers({monitor("0", 0), monitor("1", 1)});
}

void ReadDfxInfo(const JsonNode& node, DfxInfo& info) {
    const DfxInfo fallback;
    if (node.IsNull()) {
        info = fallback;
        return;
    }
    const auto readSize = [&](const JsonNode& size) {
        if (size.Value().is_string()) {
            info.size = size.AsText();
        } else if (size.Value().is_number_unsigned()) {
            info.size = std::to_string(size.Value().get<uint64_t>());
        } else if (size.IsNull()) {
            info.size = fallback.size;
        } else {
            size.Fail("must be a number that is not negative, or a text");
        }
    };
    node.ReadMembers({{"succ", Number(info.succ, fallback.succ, INT64_MIN, INT64_MAX)},
                      {"fail", Number(info.fail, fallback.fail, INT64_MIN, INT64_MAX)},
                      {"size", readSize}});
}

uint64_t ReadCount(const JsonNode& node) {
    return static_cast<uint64_t>(node.AsInteger(0, INT64_MAX));
}

FaultRule ReadFault(const JsonNode& node) {
    FaultRule rule;
    bool hasPath = false;
    bool hasOperation = false;
    const auto readPath = [&](const JsonNode& path) {
        rule.path = path.AsText();
        hasPath = true;
        if (rule.path.empty() || rule.path.front() != '/') {
            path.Fail("must be an absolute path, with * for any part of a name");
        }
    };
    const auto readOperation = [&](const JsonNode& op) {
        static const std::map<std::string, FileOperation> OPERATIONS = {
            {"open", FileOperation::OPEN}, {"read", FileOperation::READ}, {"write", FileOperation::WRITE}};
        hasOperation = true;
        if (op.AsText() == "any") {
            rule.operation.reset();
            return;
        }
        const auto operation = OPERATIONS.find(op.AsText());
        if (operation == OPERATIONS.end()) {
            op.Fail(Quoted(op.AsText()) + " is none of open, read, write, any");
        }
        rule.operation = operation->second;
    };
    const auto readErrno = [&](const JsonNode& name) {
        const auto number = ErrnoFromName(name.AsText());
        if (!number) {
            name.Fail(Quoted(name.AsText()) + " is not the name of an errno");
        }
        if (!FaultTable::CanDeliver(*number)) {
            name.Fail(name.AsText() + " cannot be delivered by the virtual device");
        }
        rule.error = *number;
    };
    node.ReadMembers(
        {{"path", readPath},
         {"op", readOperation},
         {"errno", readErrno},
         {"short", Boolean(rule.isShort, false)},
         {"delayMs", [&](const JsonNode& ms) { rule.delayUs = ms.AsInteger(0, LONGEST_DELAY_MS) * US_PER_MS; }},
         {"skip", [&](const JsonNode& skip) { rule.skip = ReadCount(skip); }},
         {"times", [&](const JsonNode& times) { rule.times = ReadCount(times); }}});
    if (!hasPath || !hasOperation || (rule.error == 0 && !rule.isShort && rule.delayUs == 0)) {
        node.Fail("needs \"path\", \"op\" and one of \"errno\", \"short\", \"delayMs\"");
    }
    if (rule.isShort && (rule.error != 0 || rule.operation.value_or(FileOperation::WRITE) != FileOperation::WRITE)) {
        node.Fail("only a write that does not fail can be short");
    }
    return rule;
}

void ReadFaults(const JsonNode& node, std::vector<FaultRule>& faults) {
    faults.clear();
    if (!node.IsNull()) {
        node.ForEachElement([&](const JsonNode& fault) { faults.push_back(ReadFault(fault)); });
    }
}

void ReadKernel(const JsonNode& node, KernelModel& kernel, DeviceChange& change) {
    const auto readMonitors = [&](const JsonNode& monitors) { ReadMonitors(monitors, kernel, change); };
    const auto readDfxInfo = [&](const JsonNode& info) {
        ReadDfxInfo(info, kernel.dfxInfo);
        change.dfxInfo = true;
    };
    const auto readDfxError = [&](const JsonNode& code) {
        Text(kernel.dfxError, KernelModel().dfxError)(code);
        change.dfxError = true;
    };
    const auto readFaults = [&](const JsonNode& list) {
        ReadFaults(list, kernel.faults);
        change.faults = true;
    };
    if (node.IsNull()) {
        readMonitors(node);
        readDfxInfo(node);
        readDfxError(node);
        readFaults(node);
        return;
    }
    node.ReadMembers(
        {{"monitors", readMonitors}, {"dfxinfo", readDfxInfo}, {"dfxerror", readDfxError}, {"faults", readFaults}});
}

// A reader of what the platform services answer from.
MemberReader StateMember(const char* name, DeviceChange& change, ReadMember read) {
    return {name, [&change, read = std::move(read)](const JsonNode& node) {
                read(node);
                change.state = true;
            }};
}

// A reader of what must stand before the plugin starts.
MemberReader FixedMember(const char* name, DevicePhase phase, ReadMember read) {
    return {name, [phase, read = std::move(read)](const JsonNode& node) {
                if (phase == DevicePhase::RUNNING) {
                    node.Fail("cannot change once the plugin has been started");
                }
                read(node);
            }};
}

}  // namespace

DeviceChange ApplyDevicePatch(const JsonNode& patch, DevicePhase phase, DeviceModel& model) {
    static const DeviceModel fallback;
    DeviceState& state = model.state;
    DeviceChange change;
    const auto readRom = [&](const JsonNode& size) {
        Number(model.romGB, fallback.romGB, 1, LARGEST_ROM_GB)(size);
        if (!std::has_single_bit(static_cast<uint64_t>(model.romGB))) {
            size.Fail("must be a power of two, not " + std::to_string(model.romGB));
        }
    };
    const auto readServices = [&](const JsonNode& node) {
        Entries(node, state.services, fallback.state.services, NumberKey,
                [](const JsonNode& isPresent, bool& service) { service = isPresent.AsBoolean(); });
    };
    const auto readParameters = [&](const JsonNode& node) {
        Entries(node, state.parameters, fallback.state.parameters, TextKey, ReadTextEntry);
    };
    const auto readBundles = [&](const JsonNode& node) {
        Entries(node, state.bundles, fallback.state.bundles, TextKey, ReadBundle);
    };
    const auto readProcesses = [&](const JsonNode& node) {
        Entries(node, state.processes, fallback.state.processes, NumberKey, ReadProcess);
    };
    patch.ReadMembers({
        FixedMember("startTime", phase, Number(model.startTimeS, fallback.startTimeS, 0, LAST_START_TIME_S)),
        FixedMember("romGB", phase, readRom),
        StateMember("charging", change, Int32(state.charging, fallback.state.charging)),
        StateMember("oobe", change, Boolean(state.oobe, fallback.state.oobe)),
        StateMember("topAbility", change, Text(state.topAbility, fallback.state.topAbility)),
        StateMember("parameters", change, readParameters),
        StateMember("services", change, readServices),
        StateMember("bundles", change, readBundles),
        StateMember("processes", change, readProcesses),
        StateMember("config", change, [&](const JsonNode& node) { ReadConfig(node, state.config); }),
        {"scenes", [&](const JsonNode& node) { ReadScenes(node, model.scenes, change); }},
        {"kernel", [&](const JsonNode& node) { ReadKernel(node, model.kernel, change); }},
    });
    return change;
}

}  // namespace ZYRA::Host
