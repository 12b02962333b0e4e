// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <semaphore>
#include <string>
#include <vector>

#include "benchmarks/cost/contenders.h"
#include "host/replay/plugin_library.h"
#include "host/replay/virtual_device.h"
#include "host/runtime/journal.h"

namespace ZYRA::Bench {

// What every program here is told: how many rounds it measures, and which plugin.
class Options {
public:
    Options(CLI::App& app, int rounds);

    int Rounds() const { return rounds_; }
    // The plugin's real path; ends the process where there is none.
    std::string PluginPath() const;

private:
    int rounds_;
    std::string plugin_ = Host::PluginLibrary::DefaultPath();
};

// Moves the process into the sandbox and turns the log off. Ends the process with a message, and the exit code 77,
// where there is none. REQUIRES: no thread has been started.
void EnterSandboxOrExit();

// Prints why a benchmark cannot go on, and ends the process with 1.
[[noreturn]] void Fail(const std::string& message);

// The default device, with one application and room for one scene in the set of top scenes.
std::unique_ptr<Host::VirtualDevice> StartDevice();

// Follows the events: the plugin answers its own event with a request to the executor, on the main queue, once
// everything before it has been handled.
class HandledMark final : private Host::JournalSink {
public:
    HandledMark();
    ~HandledMark() override;
    HandledMark(const HandledMark&) = delete;
    HandledMark& operator=(const HandledMark&) = delete;

    const Contender::Data& Event() const { return event_; }
    // Returns when the event, dispatched once since the last call, has been handled. One thread.
    void Wait();

private:
    void OnEntry(const Host::JournalEntry& entry) override;

    const Contender::Data event_;
    std::binary_semaphore handled_{0};
};

// The shipped plugin, enabled, on the default device, whose one application has a page that is in no set of top scenes:
// what the plugin does for its pages is to count them. On threads; no time-out is pending.
class RunningPlugin final : public Contender {
public:
    // A kind of event: its name, the event, and what the plugin's log says of it.
    struct Case {
        const char* name;
        Data data;
        const char* line;
    };
    static std::vector<Case> Cases();

    explicit RunningPlugin(const std::string& path);
    ~RunningPlugin() override;

    // Ends the process unless each event is taken for what its name says.
    void CheckCases();

    void Dispatch(const Data& data) override { plugin_->Dispatch(data); }
    void WaitUntilHandled() override;

private:
    std::unique_ptr<Host::VirtualDevice> device_;
    std::unique_ptr<Host::PluginLibrary> plugin_;

    HandledMark mark_;
};

}  // namespace ZYRA::Bench
