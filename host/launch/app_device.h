// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <memory>
#include <string>
#include <vector>

#include "host/launch/group_limiter.h"
#include "host/launch/journal_watch.h"
#include "host/launch/launch_machine.h"
#include "host/launch/launch_result.h"
#include "host/machine/io_groups.h"
#include "host/pages/linux_pages.h"
#include "host/replay/plugin_library.h"
#include "host/replay/replay_clock.h"
#include "host/replay/virtual_device.h"

namespace ZYRA::Host {

// A device in real time whose one application is a real program, with the plugin enabled on it: its facilities act on
// the machine. The caller says what happens to the application, in the order in which it does on a device. Used by one
// thread.
class AppDevice {
public:
    struct Config {
        std::string pluginPath;
        std::string programName;  // Of which the application's name is made.
        CollectionMode mode;
    };
    // Null on failure, with one line in `error`. `machine` must outlive the object. REQUIRES: inside the sandbox.
    static std::unique_ptr<AppDevice> Start(LaunchMachine& machine, const Config& config, std::string& error);
    ~AppDevice();
    AppDevice(const AppDevice&) = delete;
    AppDevice& operator=(const AppDevice&) = delete;

    // Whether nothing of the application has to be collected at its next start.
    bool IsRecorded();

    // A process is there that will be the application's.
    void ExpectProcess(pid_t pid) { pages_->Expect(pid); }
    // The user has touched the application: what is recorded of it is preread from now on.
    void StartAbility();
    // The application's process exists; returns at once.
    void StartProcess(pid_t pid);
    // Returns when the plugin has taken up the start of the process, and listens to it where it is to be collected; ""
    // or one line.
    std::string AwaitReady(pid_t pid);
    // The application's page is shown; returns at once.
    void CompletePage(pid_t pid);
    // Waits until the plugin's work on this start has ended and everything that was preread has been asked for. Returns
    // "" or one line. The process has ended for the device then.
    std::string AwaitEnd(pid_t pid);

    // Which other processes the device knows as applications in the background; they are what is limited.
    void SetBackground(const std::vector<pid_t>& pids);
    // Waits until no limit is on.
    void AwaitLift();

    const std::string& Scene() const { return scene_; }
    LinuxPages& Pages() { return *pages_; }
    // The statistics file, as the plugin would read it.
    PrereadCounts Counts();
    // What is used for limits, or what is lacking.
    const std::string& LimitNote() const { return limitNote_; }
    // What the machine has refused, one line each.
    std::vector<std::string> Notes();
    bool HasLimits() const { return groups_ != nullptr; }

private:
    AppDevice(LaunchMachine& machine, const Config& config);
    bool Enable(const std::string& pluginPath, std::string& error);
    void Dispatch(uint32_t type, int64_t value, nlohmann::json payload);

    const std::string bundle_;
    const std::string scene_;
    bool isLimiting_ = false;
    std::vector<pid_t> background_;

    // In the order in which they need each other.
    std::unique_ptr<ReplayClock> clock_;
    JournalWatch watch_;
    std::string limitNote_;
    std::unique_ptr<IoGroups> groups_;
    std::unique_ptr<GroupLimiter> limiter_;
    std::unique_ptr<LinuxPages> pages_;
    std::unique_ptr<VirtualDevice> device_;
    std::unique_ptr<PluginLibrary> plugin_;
    bool isEnabled_ = false;
};

}  // namespace ZYRA::Host
