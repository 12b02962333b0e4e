#include "host/runtime/journal.h"

#include <algorithm>

#include "host/runtime/task_runtime.h"

namespace ZYRA::Host {

Journal& Journal::GetInstance() {
    // Never destroyed: static destructors of a plugin may still log.
    static Journal& journal = *new Journal();
    return journal;
}

void Journal::AddSink(JournalSink* sink) {
    MutexLock lock(mutex_);
    sinks_.push_back(sink);
    hasSinks_.store(true, std::memory_order_relaxed);
}

void Journal::RemoveSink(JournalSink* sink) {
    MutexLock lock(mutex_);
    sinks_.erase(std::remove(sinks_.begin(), sinks_.end(), sink), sinks_.end());
    hasSinks_.store(!sinks_.empty(), std::memory_order_relaxed);
}

void Journal::Append(JournalFact fact) {
    MutexLock lock(mutex_);
    if (sinks_.empty()) {
        return;
    }
    const JournalEntry entry{TaskRuntime::Current().ElapsedUs(), std::move(fact)};
    for (JournalSink* sink : sinks_) {
        sink->OnEntry(entry);
    }
}

}  // namespace ZYRA::Host
