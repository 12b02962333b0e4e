// SPDX-License-Identifier: Apache-2.0
#include "host/launch/app_device.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <sstream>
#include <utility>

#include "host/replay/device_model.h"
#include "host/replay/event_numbers.h"

namespace ZYRA::Host {

namespace {

constexpr uint32_t APP_UID = 20010100;
constexpr uint32_t FIRST_BACKGROUND_UID = 20010200;
constexpr const char* PAGE_URL = "pages/Index";

// Of the smallest memory: the work ends a second after the page is complete, and not five.
constexpr const char* SMALLEST_MEMORY = "1";
constexpr const char* MEMORY_PARAMETER = "zyra.boot.vendor.ddrsize";

// Far beyond what the plugin takes for anything.
constexpr int64_t READY_TIMEOUT_MS = 5000;
constexpr int64_t END_TIMEOUT_MS = 20000;

// A name of a bundle has letters, digits, dots and underscores, a letter first.
std::string BundleNameOf(const std::string& program) {
    std::string name = "com.example.";
    for (const char c : program.substr(program.rfind('/') + 1)) {
        name += std::isalnum(static_cast<unsigned char>(c)) != 0 ? c : '_';
    }
    return name;
}

nlohmann::json DeviceProcessOf(uint32_t uid, const std::string& bundle, bool isForeground) {
    return {{"uid", uid}, {"bundles", nlohmann::json::array({bundle})}, {"foreground", isForeground}};
}

// A patch of the device: its processes by number, null for one that has ended.
nlohmann::json ProcessPatch(const std::map<pid_t, nlohmann::json>& processes) {
    nlohmann::json patch = nlohmann::json::object();
    for (const auto& [pid, process] : processes) {
        patch[std::to_string(pid)] = process;
    }
    return {{"processes", patch}};
}

// The workingset's monitors, and the limits.
constexpr const char* MONITORS = "/dev/workingset/monitor";
constexpr const char* LIMITS = "/dev/iolimit/";

// Of a file anywhere below the folders whose paths begin so.
bool IsWrite(const JournalFact& fact, const char* folders, const char* file, const std::string& content) {
    const auto* const write = std::get_if<FileWriteEntry>(&fact);
    return write != nullptr && write->IsAccepted() && write->path.starts_with(folders) && write->path.ends_with(file) &&
           write->content == content;
}

}  // namespace

AppDevice::AppDevice(LaunchMachine& machine, const Config& config)
    : bundle_(BundleNameOf(config.programName)), scene_(bundle_ + "/" + bundle_), clock_(ReplayClock::Real()) {
    groups_ = IoGroups::Create(*machine.guardian, machine.disks, limitNote_);
    if (groups_ != nullptr) {
        limiter_ = std::make_unique<GroupLimiter>(*groups_);
    }
    pages_ = std::make_unique<LinuxPages>(
        LinuxPages::Machine{machine.view, machine.finder, *machine.guardian, machine.readAheadFiles}, config.mode);
}

std::unique_ptr<AppDevice> AppDevice::Start(LaunchMachine& machine, const Config& config, std::string& error) {
    std::unique_ptr<AppDevice> device(new AppDevice(machine, config));
    return device->Enable(config.pluginPath, error) ? std::move(device) : nullptr;
}

bool AppDevice::Enable(const std::string& pluginPath, std::string& error) {
    DeviceModel model;
    model.state.parameters[MEMORY_PARAMETER] = SMALLEST_MEMORY;
    model.state.bundles[bundle_] = {static_cast<int32_t>(APP_UID), false, true};
    device_ = VirtualDevice::Start(model, error, pages_.get(), limiter_.get());
    if (device_ == nullptr) {
        return false;
    }
    plugin_ = PluginLibrary::Open(pluginPath, error);
    if (plugin_ == nullptr) {
        return false;
    }
    // The last of its limits tells that it is ready.
    isEnabled_ = plugin_->Init();
    const bool isReady = isEnabled_ && watch_.AwaitFact(READY_TIMEOUT_MS, [](const JournalFact& fact) {
        const auto* const write = std::get_if<FileWriteEntry>(&fact);
        return write != nullptr && write->path.ends_with("heavyio/iolimit.write_limit");
    });
    if (!isReady) {
        error = pluginPath + ": the plugin does not start";
    }
    return isReady;
}

AppDevice::~AppDevice() {
    if (isEnabled_) {
        plugin_->Disable();
    }
    clock_->Runtime().JoinRetired();
    plugin_.reset();
    device_.reset();
}

void AppDevice::Dispatch(uint32_t type, int64_t value, nlohmann::json payload) {
    payload["bundleName"] = bundle_;
    payload["uid"] = std::to_string(APP_UID);
    plugin_->Dispatch(
        std::make_shared<ResourceSchedule::ResData>(ResourceSchedule::ResData{type, value, std::move(payload)}));
}

void AppDevice::StartAbility() {
    watch_.Forget();
    isLimiting_ = true;
    Dispatch(EVENT_ABILITY_START, COLD_START, nlohmann::json::object());
}

bool AppDevice::IsRecorded() {
    return pages_->IsUpToDate({static_cast<int32_t>(APP_UID), 0, scene_, std::string(RECORD_DIRECTORY) + scene_});
}

void AppDevice::StartProcess(pid_t pid) {
    device_->Apply(ProcessPatch({{pid, DeviceProcessOf(APP_UID, bundle_, true)}}));
    Dispatch(EVENT_PROCESS_START, PROCESS_HAS_STARTED, {{"pid", std::to_string(pid)}});
}

std::string AppDevice::AwaitReady(pid_t pid) {
    const std::string number = std::to_string(pid);
    bool isCollected = false;
    const bool isReady = watch_.AwaitFact(READY_TIMEOUT_MS, [&](const JournalFact& fact) {
        const auto* const bind = std::get_if<BindEntry>(&fact);
        if (bind != nullptr && bind->pid == pid) {
            isCollected = bind->recordState != RecordStateText(RecordState::UPTODATE);
        }
        return isCollected ? IsWrite(fact, MONITORS, "/cgroup.procs", number)
                           : IsWrite(fact, MONITORS, "/workingset.state", "INWORKING");
    });
    return isReady ? "" : "the plugin did not take up the start of process " + number;
}

void AppDevice::CompletePage(pid_t pid) {
    for (const int64_t status : {PAGE_BEGINS, PAGE_IS_SHOWN}) {
        Dispatch(EVENT_PAGE, status, {{"clientPid", std::to_string(pid)}, {"pageUrl", PAGE_URL}});
    }
}

std::string AppDevice::AwaitEnd(pid_t pid) {
    std::string word;
    watch_.AwaitFact(END_TIMEOUT_MS, [&](const JournalFact& fact) {
        const auto* const monitor = std::get_if<MonitorEntry>(&fact);
        word = monitor == nullptr ? "" : monitor->state;
        return word == "OUTOFWORK" || word == "ABORT";
    });
    pages_->FinishPrereads();
    device_->Apply(ProcessPatch({{pid, nullptr}}));
    return word == "OUTOFWORK" ? "" : "the plugin's work on the start did not end well";
}

void AppDevice::SetBackground(const std::vector<pid_t>& pids) {
    std::map<pid_t, nlohmann::json> processes;
    for (const pid_t pid : background_) {
        processes[pid] = nullptr;
    }
    for (size_t index = 0; index < pids.size(); ++index) {
        processes[pids[index]] = DeviceProcessOf(FIRST_BACKGROUND_UID + static_cast<uint32_t>(index),
                                                 "com.example.reader" + std::to_string(index), false);
    }
    background_ = pids;
    device_->Apply(ProcessPatch(processes));
}

void AppDevice::AwaitLift() {
    if (std::exchange(isLimiting_, false)) {
        watch_.AwaitFact(END_TIMEOUT_MS,
                         [](const JournalFact& fact) { return IsWrite(fact, LIMITS, "heavyio/iolimit.offon", "0"); });
    }
}

std::vector<std::string> AppDevice::Notes() {
    std::vector<std::string> notes = pages_->Notes();
    if (limiter_ != nullptr) {
        const std::vector<std::string> refused = limiter_->Notes();
        notes.insert(notes.end(), refused.begin(), refused.end());
    }
    return notes;
}

PrereadCounts AppDevice::Counts() {
    PrereadCounts counts;
    std::string text, key;
    device_->Kernel().Workingset().Read("workingset.dfxinfo", text);
    std::istringstream lines(text);
    for (uint64_t number = 0; lines >> key >> number;) {
        (key == "Succ:" ? counts.succ : key == "Fail:" ? counts.fail : number) = number;
    }
    return counts;
}

}  // namespace ZYRA::Host
