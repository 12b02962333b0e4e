// SPDX-License-Identifier: Apache-2.0
#include "host/runtime/journal.h"

#include <algorithm>
#include <mutex>

#include "host/runtime/task_runtime.h"

namespace ZYRA::Host {

bool IsOfTasks(const JournalFact& fact) {
    return std::holds_alternative<TaskEntry>(fact) || std::holds_alternative<StepEndEntry>(fact);
}

Journal& Journal::GetInstance() {
    // Never destroyed: static destructors of a plugin may still log.
    static Journal& journal = *new Journal();
    return journal;
}

void Journal::AddSink(JournalSink* sink) {
    const bool needsDescriptors = sink->NeedsDescriptors();
    const std::unique_lock between(bareCalls_);
    sinksWithDescriptors_ += needsDescriptors ? 1 : 0;
    MutexLock lock(mutex_);
    sinks_.push_back({sink, needsDescriptors, sink->WantsTasks()});
    NoteSinksWLocked();
}

void Journal::RemoveSink(JournalSink* sink) {
    const std::unique_lock between(bareCalls_);
    MutexLock lock(mutex_);
    const auto known = std::find_if(sinks_.begin(), sinks_.end(), [&](const auto& one) { return one.sink == sink; });
    if (known != sinks_.end()) {
        sinksWithDescriptors_ -= known->needsDescriptors ? 1 : 0;
        sinks_.erase(known);
    }
    NoteSinksWLocked();
}

void Journal::NoteSinksWLocked() {
    hasSinks_.store(!sinks_.empty(), std::memory_order_relaxed);
    const bool wantsTasks = std::any_of(sinks_.begin(), sinks_.end(), [](const auto& one) { return one.wantsTasks; });
    wantsTasks_.store(wantsTasks, std::memory_order_relaxed);
}

void Journal::Append(JournalFact fact) {
    MutexLock lock(mutex_);
    if (sinks_.empty()) {
        return;
    }
    const JournalEntry entry{TaskRuntime::Current().ElapsedUs(), std::move(fact)};
    const bool isOfTasks = IsOfTasks(entry.fact);
    for (const Registration& one : sinks_) {
        if (one.wantsTasks || !isOfTasks) {
            one.sink->OnEntry(entry);
        }
    }
}

}  // namespace ZYRA::Host
