// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <shared_mutex>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "platform/event_log.h"
#include "platform/log.h"
#include "platform/mutex.h"

namespace ZYRA::Host {

// What can happen on the virtual device. Each struct is one kind of journal line; see docs/formats.md for the text
// form.

struct SubscriptionEntry {
    bool subscribed;
    uint32_t resType;
};
struct LogEntry {
    LogLevel level;
    std::string tag;
    std::string text;
};
// A write(2) on a file of a kernel facility. `error` is the errno that refused it; of a short one the caller was told
// that half of it was taken. Either way nothing was done.
struct FileWriteEntry {
    std::string path;
    std::string content;
    int error = 0;
    bool isShort = false;

    bool IsAccepted() const { return error == 0 && !isShort; }
};
// A fault of the device model has struck an operation: `open`, `read` or `write`.
struct FaultEntry {
    std::string path;
    std::string operation;
    int error;  // 0 when it did not fail.
    bool isShort;
    int64_t delayUs;
};
// A request of the plugin to the executor.
struct RequestEntry {
    bool sync;
    uint32_t resType;
    int64_t value;
    nlohmann::json payload;
};
// The executor did not carry a request out. `reason` says on what and why.
struct RefusedEntry {
    uint32_t resType;
    int64_t value;
    std::string reason;
};
struct SysEventEntry {
    std::string domain;
    std::string name;
    EventLogType type;
    std::vector<std::pair<std::string, EventLogValue>> params;
};
struct SpanEntry {
    std::string name;
    bool begin;
};
struct DumpEntry {
    std::vector<std::string> args;
    std::string result;
};
// A monitor's state word has changed.
struct MonitorEntry {
    int monitor;
    std::string state;
};
// A scene line was accepted by a monitor; `recordState` is what the monitor reports from then on.
struct BindEntry {
    int monitor;
    int32_t uid;
    int32_t pid;
    std::string scene;
    std::string recordState;
};
// The facility has made a scene's record from what was collected.
struct RecordEntry {
    std::string scene;
    uint64_t pages;
};
// A preread has ended. `error` is the facility's failure code, empty on success.
struct PrereadEntry {
    int monitor;
    std::string scene;
    uint64_t bytes;
    std::string error;
};
// A set of top scenes has been published. What it holds is what the plugin has stored; in virtual time only.
struct TopSetEntry {
    uint64_t size;
    std::vector<std::string> added;    // Against the set before, sorted.
    std::vector<std::string> removed;  // The same.
};
// The scenario's own steps.
struct DeviceStep {
    nlohmann::json patch;
};
struct EventStep {
    uint32_t resType;
    int64_t value;
    nlohmann::json payload;
};
struct PluginStep {
    bool enable;
};
struct ShutdownStep {
    size_t callbacks = 0;  // How many the power manager has to call.
};

// The step that was begun last has been taken: whatever the plugin was called with has returned.
struct StepEndEntry {};
// A task of a serial queue has come to its next phase, on the thread on which it did. `id` counts the tasks of the
// process from 1. A task that is cancelled, or discarded with its queue, never begins.
struct TaskEntry {
    enum class Phase : uint8_t { SUBMITTED, BEGUN, ENDED, CANCELLED };

    uint64_t id;
    Phase phase;
    std::string queue;
    std::string name;
    int64_t dueUs;
};

using JournalFact =
    std::variant<SubscriptionEntry, LogEntry, FileWriteEntry, FaultEntry, RequestEntry, RefusedEntry, SysEventEntry,
                 SpanEntry, DumpEntry, MonitorEntry, BindEntry, RecordEntry, PrereadEntry, TopSetEntry, DeviceStep,
                 EventStep, PluginStep, ShutdownStep, StepEndEntry, TaskEntry>;

struct JournalEntry {
    int64_t timeUs;
    JournalFact fact;
};

// Whether only sinks that want tasks are told of the fact. Such facts have no line in the journal's file.
bool IsOfTasks(const JournalFact& fact);

// The entry as one line of JSON without a line end: `t` first, then `kind`, then its members. Bytes that are not UTF-8
// are replaced, so that a line is always valid JSON.
// REQUIRES: the fact has a line.
std::string ToJsonLine(const JournalEntry& entry);

// Receives every entry, one at a time, in the order in which things happened.
class JournalSink {
public:
    virtual ~JournalSink() = default;
    // Called under the journal's lock, on the thread on which the thing happened: must not call the plugin or touch a
    // file of a kernel facility.
    virtual void OnEntry(const JournalEntry& entry) = 0;
    // Whether OnEntry opens files or uses a descriptor that stays open between two entries. If not, it is called also
    // on threads that have not the descriptors of the process (see FuseServer). Never changes.
    virtual bool NeedsDescriptors() const { return true; }
    // Whether it is told of tasks and of the ends of steps too. Never changes.
    virtual bool WantsTasks() const { return false; }
};

// The device's memory of what happened: stamps each fact with the device's time and hands it to every sink.
// Process-wide; thread-safe.
class Journal {
public:
    static Journal& GetInstance();

    // The sink must outlive its registration. No entry reaches it after RemoveSink has returned.
    void AddSink(JournalSink* sink);
    void RemoveSink(JournalSink* sink);

    // Whether there is a sink. A fact that costs something to make need not be made when there is none.
    bool HasSinks() const { return hasSinks_.load(std::memory_order_relaxed); }

    // Whether there is a sink that wants tasks. Queues that are created while there is none tell of no task.
    bool WantsTasks() const { return wantsTasks_.load(std::memory_order_relaxed); }

    void Append(JournalFact fact);

    // What a thread does without the descriptors of the process, and what the journal is told of it. While it lasts no
    // sink is added that needs them.
    class BareCall {
    public:
        BareCall() : lock_(GetInstance().bareCalls_) {}
        // Whether no sink needs them.
        bool IsAllowed() const { return GetInstance().sinksWithDescriptors_ == 0; }

    private:
        const std::shared_lock<std::shared_mutex> lock_;
    };

private:
    struct Registration {
        JournalSink* sink;
        bool needsDescriptors;
        bool wantsTasks;
    };

    Journal() = default;

    void NoteSinksWLocked() REQUIRES(mutex_);

    // Taken before `mutex_`: shared by the bare calls.
    std::shared_mutex bareCalls_;
    size_t sinksWithDescriptors_ = 0;  // Guarded by `bareCalls_`.

    Mutex mutex_;
    std::vector<Registration> sinks_ GUARDED_BY(mutex_);
    // Written under the mutex.
    std::atomic<bool> hasSinks_{false};
    std::atomic<bool> wantsTasks_{false};
};

}  // namespace ZYRA::Host
