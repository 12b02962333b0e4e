#include "host/replay/scenario.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <utility>

#include "host/replay/device_model.h"
#include "host/replay/json_node.h"
#include "host/replay/printable.h"
#include "platform/file_util.h"

namespace ZYRA::Host {

namespace {

constexpr int64_t LAST_TIME_MS = 10000000000000;  // Three centuries; in microseconds still a 64-bit number.
constexpr int64_t US_PER_MS = 1000;

EventStep ReadEvent(const JsonNode& node) {
    EventStep event{0, 0, nlohmann::json::object()};
    bool hasType = false;
    node.ReadMembers({{"type",
                       [&](const JsonNode& type) {
                           event.resType = static_cast<uint32_t>(type.AsInteger(0, UINT32_MAX));
                           hasType = true;
                       }},
                      {"value", [&](const JsonNode& value) { event.value = value.AsInteger(INT64_MIN, INT64_MAX); }},
                      {"payload", [&](const JsonNode& payload) { event.payload = payload.Value(); }}});
    if (!hasType) {
        node.Fail("needs \"type\"");
    }
    return event;
}

DumpStep ReadDump(const JsonNode& node) {
    DumpStep dump;
    node.ForEachElement([&](const JsonNode& arg) { dump.args.push_back(arg.AsText()); });
    return dump;
}

ShutdownStep ReadShutdown(const JsonNode& node) {
    if (!node.AsBoolean()) {
        node.Fail("must be true");
    }
    return {};
}

PluginStep ReadPlugin(const JsonNode& node) {
    const std::string& word = node.AsText();
    if (word != "enable" && word != "disable") {
        node.Fail(Quoted(word) + " is none of enable, disable");
    }
    return {word == "enable"};
}

// Takes a scenario's lines one after the other.
class ScenarioReader {
public:
    // Throws InputFailure.
    void ReadLine(const LocatedJson& line) {
        const JsonNode node(line);
        int kinds = 0;
        int64_t timeMs = timeMs_;
        std::optional<decltype(ScenarioStep::action)> action;
        const auto kind = [&](const char* name, auto read) {
            return JsonNode::MemberReader{name, [&kinds, &action, read](const JsonNode& member) {
                                              ++kinds;
                                              action = read(member);
                                          }};
        };
        const auto readComment = [&](const JsonNode& comment) {
            comment.AsText();
            ++kinds;
        };
        node.ReadMembers({{"t", [&](const JsonNode& time) { timeMs = ReadTime(time); }},
                          {"comment", readComment},
                          kind("device", [this](const JsonNode& member) { return ReadDevice(member); }),
                          kind("event", ReadEvent),
                          kind("dump", ReadDump),
                          kind("shutdown", ReadShutdown),
                          kind("plugin", ReadPlugin)});
        if (kinds != 1) {
            node.Fail("needs exactly one of device, event, dump, shutdown, plugin, comment");
        }
        timeMs_ = timeMs;
        if (!action) {
            return;
        }
        if (auto* device = std::get_if<DeviceStep>(&*action); device != nullptr && IsDescribing()) {
            scenario_.startDevice.push_back(std::move(*device));
        } else {
            scenario_.steps.push_back({timeMs_ * US_PER_MS, std::move(*action)});
        }
    }

    Scenario Take() { return std::move(scenario_); }

private:
    // Device lines describe the device at the start until a line of another kind has come.
    bool IsDescribing() const { return scenario_.steps.empty(); }

    int64_t ReadTime(const JsonNode& node) const {
        const int64_t timeMs = node.AsInteger(0, LAST_TIME_MS);
        if (timeMs < timeMs_) {
            node.Fail("must not decrease: " + std::to_string(timeMs) + " after " + std::to_string(timeMs_));
        }
        return timeMs;
    }

    DeviceStep ReadDevice(const JsonNode& node) {
        ApplyDevicePatch(node, IsDescribing() ? DevicePhase::DESCRIBING : DevicePhase::RUNNING, scratch_);
        return {node.Value()};
    }

    Scenario scenario_;
    int64_t timeMs_ = 0;
    DeviceModel scratch_;  // Only to check patches on.
};

bool IsBlank(std::string_view line) {
    return line.find_first_not_of(" \t\r") == std::string_view::npos;
}

}  // namespace

std::optional<Scenario> ParseScenario(const std::string& file, std::string_view text, InputError& error) {
    ScenarioReader reader;
    for (size_t number = 1; !text.empty(); ++number) {
        const size_t length = std::min(text.find('\n'), text.size());
        const std::string_view line = text.substr(0, length);
        text.remove_prefix(std::min(length + 1, text.size()));
        if (IsBlank(line)) {
            continue;
        }
        const auto document = ParseLocatedJson(file, line, number, error);
        if (!document) {
            return std::nullopt;
        }
        try {
            reader.ReadLine(*document);
        } catch (const InputFailure& failure) {
            error = failure.error;
            return std::nullopt;
        }
    }
    return reader.Take();
}

std::optional<Scenario> LoadScenario(const std::string& file, InputError& error) {
    std::string text;
    if (!LoadStringFromFile(file, text)) {
        error = {file, 0, std::strerror(errno)};
        return std::nullopt;
    }
    return ParseScenario(file, text, error);
}

}  // namespace ZYRA::Host
