// SPDX-License-Identifier: Apache-2.0
#include "host/workload/used_device.h"

#include <algorithm>
#include <utility>

namespace ZYRA::Host {

namespace {

using nlohmann::json;

// Events as the plugin takes them.
constexpr uint32_t SCREEN = 0;
constexpr uint32_t PROCESS_START = 4;
constexpr uint32_t USER_INPUT = 9;
constexpr uint32_t PUSH_PAGE = 10;
constexpr uint32_t BUNDLE_ACTION = 15;
constexpr uint32_t ABILITY_START = 27;

constexpr int64_t OFF = 0;
constexpr int64_t ON = 1;
constexpr int64_t PROCESS_START_COMPLETE = 0;
constexpr int64_t TOUCHED = 1;
constexpr int64_t PUSH_PAGE_START = 0;
constexpr int64_t PUSH_PAGE_COMPLETE = 1;
constexpr int64_t BUNDLE_REMOVED = 0;
constexpr int64_t BUNDLE_ADDED = 1;
constexpr int64_t WARM = 0;
constexpr int64_t COLD = 1;

const json NO_PAYLOAD = json::object();

json BundlePayload(const Application& app) {
    return {{"bundleName", app.bundleName}, {"uid", std::to_string(app.uid)}};
}

}  // namespace

void UsedDevice::AdvanceTo(int64_t timeMs) {
    nowMs_ = std::max(nowMs_, timeMs);
}

void UsedDevice::SwitchScreen(bool isOn) {
    Emit(SCREEN, isOn ? ON : OFF, NO_PAYLOAD);
}

void UsedDevice::SetCharging(bool isCharging) {
    if (std::exchange(isCharging_, isCharging) != isCharging) {
        scenario_.Device(nowMs_, {{"charging", ChargingStatus(isCharging)}});
    }
}

bool UsedDevice::Start(const Application& app) {
    const bool isCold = ProcessOf(app) == processes_.end();
    if (isCold) {
        StartCold(app);
    } else {
        StartWarm(app);
    }
    return isCold;
}

void UsedDevice::StartCold(const Application& app) {
    Emit(ABILITY_START, COLD, BundlePayload(app));
    Pass(random_.Between(150, 300));

    const Process process{UnusedPid(), app.uid};
    json changes = {{std::to_string(process.pid),
                     {{"uid", process.uid}, {"bundles", json::array({app.bundleName})}, {"foreground", true}}}};
    if (foregroundPid_ != 0) {
        changes[std::to_string(foregroundPid_)] = {{"foreground", false}};
    }
    processes_.push_back(process);
    if (processes_.size() > MOST_PROCESSES) {
        changes[std::to_string(processes_.front().pid)] = nullptr;
        processes_.erase(processes_.begin());
    }
    foregroundPid_ = process.pid;
    scenario_.Device(nowMs_, {{"processes", std::move(changes)}});

    json payload = BundlePayload(app);
    payload["pid"] = std::to_string(process.pid);
    Emit(PROCESS_START, PROCESS_START_COMPLETE, payload);
    Pass(random_.Between(40, 120));
    ShowPage(app, process.pid, FIRST_PAGE);
}

void UsedDevice::StartWarm(const Application& app) {
    Touch(ProcessOf(app));
    const int32_t pid = processes_.back().pid;
    if (pid != foregroundPid_) {
        json changes = {{std::to_string(pid), {{"foreground", true}}}};
        if (foregroundPid_ != 0) {
            changes[std::to_string(foregroundPid_)] = {{"foreground", false}};
        }
        foregroundPid_ = pid;
        scenario_.Device(nowMs_, {{"processes", std::move(changes)}});
    }
    Emit(ABILITY_START, WARM, BundlePayload(app));
    Pass(random_.Between(40, 120));
}

void UsedDevice::Navigate(const Application& app, const std::string& pageUrl) {
    Emit(USER_INPUT, TOUCHED, NO_PAYLOAD);
    Pass(random_.Between(8, 14));
    ShowPage(app, ProcessOf(app)->pid, pageUrl);
}

void UsedDevice::Install(const Application& app) {
    scenario_.Device(nowMs_, InstallPatch(app));
    Emit(BUNDLE_ACTION, BUNDLE_ADDED, BundlePayload(app));
}

void UsedDevice::Remove(const Application& app) {
    json patch = {{"bundles", {{app.bundleName, nullptr}}}};
    if (const auto process = ProcessOf(app); process != processes_.end()) {
        patch["processes"] = {{std::to_string(process->pid), nullptr}};
        if (process->pid == foregroundPid_) {
            foregroundPid_ = 0;
        }
        processes_.erase(process);
    }
    scenario_.Device(nowMs_, patch);
    Emit(BUNDLE_ACTION, BUNDLE_REMOVED, BundlePayload(app));
}

void UsedDevice::Emit(uint32_t type, int64_t value, const json& payload) {
    scenario_.Event(nowMs_, type, value, payload);
}

void UsedDevice::ShowPage(const Application& app, int32_t pid, const std::string& pageUrl) {
    json payload = BundlePayload(app);
    payload["clientPid"] = std::to_string(pid);
    payload["pageUrl"] = pageUrl;
    Emit(PUSH_PAGE, PUSH_PAGE_START, payload);
    Pass(random_.Between(80, 400));
    Emit(PUSH_PAGE, PUSH_PAGE_COMPLETE, payload);
}

void UsedDevice::Touch(std::vector<Process>::iterator process) {
    std::rotate(process, process + 1, processes_.end());
}

std::vector<UsedDevice::Process>::iterator UsedDevice::ProcessOf(const Application& app) {
    return std::find_if(processes_.begin(), processes_.end(),
                        [&app](const Process& process) { return process.uid == app.uid; });
}

// Process ids rise, with gaps for processes that are no application, and start again at the end of their range.
int32_t UsedDevice::UnusedPid() {
    constexpr int32_t FIRST = 1000;
    constexpr int32_t LAST = 32767;
    constexpr int64_t LARGEST_GAP = 40;
    const auto isUsed = [this] {
        return std::any_of(processes_.begin(), processes_.end(),
                           [this](const Process& process) { return process.pid == lastPid_; });
    };
    do {
        lastPid_ += static_cast<int32_t>(random_.Between(1, LARGEST_GAP));
        lastPid_ = lastPid_ > LAST ? FIRST : lastPid_;
    } while (isUsed());
    return lastPid_;
}

}  // namespace ZYRA::Host
