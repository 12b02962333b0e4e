// SPDX-License-Identifier: Apache-2.0
#include "host/runtime/journal.h"

#include <algorithm>
#include <mutex>

#include "host/runtime/task_runtime.h"

namespace ZYRA::Host {

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
    sinks_.push_back({sink, needsDescriptors});
    hasSinks_.store(true, std::memory_order_relaxed);
}

void Journal::RemoveSink(JournalSink* sink) {
    const std::unique_lock between(bareCalls_);
    MutexLock lock(mutex_);
    const auto known = std::find_if(sinks_.begin(), sinks_.end(), [&](const auto& one) { return one.sink == sink; });
    if (known != sinks_.end()) {
        sinksWithDescriptors_ -= known->needsDescriptors ? 1 : 0;
        sinks_.erase(known);
    }
    hasSinks_.store(!sinks_.empty(), std::memory_order_relaxed);
}

void Journal::Append(JournalFact fact) {
    MutexLock lock(mutex_);
    if (sinks_.empty()) {
        return;
    }
    const JournalEntry entry{TaskRuntime::Current().ElapsedUs(), std::move(fact)};
    for (const Registration& one : sinks_) {
        one.sink->OnEntry(entry);
    }
}

}  // namespace ZYRA::Host
