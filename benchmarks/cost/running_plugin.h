#pragma once

#include <atomic>
#include <future>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "benchmarks/cost/contenders.h"
#include "host/replay/plugin_library.h"
#include "host/replay/virtual_device.h"
#include "host/runtime/journal.h"
#include "platform/mutex.h"

namespace ZYRA::Bench {

// Moves the process into the sandbox and turns the log off. Ends the process with a message, and the exit code 77,
// where there is none. REQUIRES: no thread has been started.
void EnterSandboxOrExit();

// Prints why a benchmark cannot go on, and ends the process with 1.
[[noreturn]] void Fail(const std::string& message);

// The shipped plugin, enabled, on the default device, whose one application has a page that is in no set of top scenes:
// what the plugin does for its pages is to count them. On threads.
class RunningPlugin final : public Contender, private Host::JournalSink {
public:
    // What each kind of event looks like: a name, the event.
    struct Case {
        const char* name;
        Data data;
    };
    static std::vector<Case> Cases();

    explicit RunningPlugin(const std::string& path);
    ~RunningPlugin() override;

    void Dispatch(const Data& data) override { plugin_->Dispatch(data); }
    // The last event asks the executor for something, which it is told of at once.
    void WaitUntilHandled() override;

private:
    void OnEntry(const Host::JournalEntry& entry) override;

    std::unique_ptr<Host::VirtualDevice> device_;
    std::unique_ptr<Host::PluginLibrary> plugin_;

    std::atomic<bool> isReady_{false};
    Mutex mutex_;
    std::promise<void>* handled_ GUARDED_BY(mutex_) = nullptr;
};

}  // namespace ZYRA::Bench
