// SPDX-License-Identifier: Apache-2.0
#include "host/workload/used_device.h"

#include <algorithm>
#include <utility>

#include "host/replay/event_numbers.h"

namespace ZYRA::Host {

namespace {

using nlohmann::json;

const json NO_PAYLOAD = json::object();

json BundlePayload(const Application& app) {
    return {{"bundleName", app.bundleName}, {"uid", std::to_string(app.uid)}};
}

}  // namespace

void UsedDevice::AdvanceTo(int64_t timeMs) {
    nowMs_ = std::max(nowMs_, timeMs);
}

void UsedDevice::SwitchScreen(bool isOn) {
    Emit(EVENT_SCREEN, isOn ? SCREEN_IS_ON : SCREEN_IS_OFF, NO_PAYLOAD);
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
    Emit(EVENT_ABILITY_START, COLD_START, BundlePayload(app));
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
    Emit(EVENT_PROCESS_START, PROCESS_HAS_STARTED, payload);
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
    Emit(EVENT_ABILITY_START, WARM_START, BundlePayload(app));
    Pass(random_.Between(40, 120));
}

void UsedDevice::Navigate(const Application& app, const std::string& pageUrl) {
    Emit(EVENT_USER_INPUT, USER_HAS_ACTED, NO_PAYLOAD);
    Pass(random_.Between(8, 14));
    ShowPage(app, ProcessOf(app)->pid, pageUrl);
}

void UsedDevice::Install(const Application& app) {
    scenario_.Device(nowMs_, InstallPatch(app));
    Emit(EVENT_BUNDLE, BUNDLE_HAS_CHANGED, BundlePayload(app));
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
    Emit(EVENT_BUNDLE, BUNDLE_IS_REMOVED, BundlePayload(app));
}

void UsedDevice::Emit(uint32_t type, int64_t value, const json& payload) {
    scenario_.Event(nowMs_, type, value, payload);
}

void UsedDevice::ShowPage(const Application& app, int32_t pid, const std::string& pageUrl) {
    json payload = BundlePayload(app);
    payload["clientPid"] = std::to_string(pid);
    payload["pageUrl"] = pageUrl;
    Emit(EVENT_PAGE, PAGE_BEGINS, payload);
    Pass(random_.Between(80, 400));
    Emit(EVENT_PAGE, PAGE_IS_SHOWN, payload);
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
