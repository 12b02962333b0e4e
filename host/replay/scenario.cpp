// SPDX-License-Identifier: Apache-2.0
#include "host/replay/scenario.h"

#include <algorithm>
#include <climits>
#include <utility>

#include "host/replay/printable.h"

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

bool IsBlank(std::string_view line) {
    return line.find_first_not_of(" \t\r") == std::string_view::npos;
}

}  // namespace

std::optional<ScenarioStep> ScenarioReader::Read(std::string_view line) {
    ++lineNumber_;
    if (IsBlank(line)) {
        return std::nullopt;
    }
    InputError error;
    const auto document = ParseLocatedJson(file_, line, lineNumber_, error);
    if (!document) {
        throw InputFailure{error};
    }
    return ReadStep(*document);
}

std::optional<ScenarioStep> ScenarioReader::ReadStep(const LocatedJson& line) {
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
        return std::nullopt;
    }
    isDescribing_ = isDescribing_ && std::holds_alternative<DeviceStep>(*action);
    return ScenarioStep{timeMs_ * US_PER_MS, std::move(*action)};
}

int64_t ScenarioReader::ReadTime(const JsonNode& node) const {
    const int64_t timeMs = node.AsInteger(0, LAST_TIME_MS);
    if (timeMs < timeMs_) {
        node.Fail("must not decrease: " + std::to_string(timeMs) + " after " + std::to_string(timeMs_));
    }
    return timeMs;
}

DeviceStep ScenarioReader::ReadDevice(const JsonNode& node) {
    ApplyDevicePatch(node, isDescribing_ ? DevicePhase::DESCRIBING : DevicePhase::RUNNING, scratch_);
    return {node.Value()};
}

std::optional<Scenario> ParseScenario(const std::string& file, std::string_view text, InputError& error) {
    ScenarioReader reader(file);
    Scenario scenario;
    while (!text.empty()) {
        const size_t length = std::min(text.find('\n'), text.size());
        try {
            std::optional<ScenarioStep> step = reader.Read(text.substr(0, length));
            if (step && reader.IsDescribing()) {
                scenario.startDevice.push_back(std::get<DeviceStep>(std::move(step->action)));
            } else if (step) {
                scenario.steps.push_back(std::move(*step));
            }
        } catch (const InputFailure& failure) {
            error = failure.error;
            return std::nullopt;
        }
        text.remove_prefix(std::min(length + 1, text.size()));
    }
    return scenario;
}

}  // namespace ZYRA::Host
