// SPDX-License-Identifier: Apache-2.0
#include "host/launch/journal_watch.h"

#include <chrono>

namespace ZYRA::Host {

void JournalWatch::OnEntry(const JournalEntry& entry) {
    // Log lines are many and nothing to wait for.
    if (std::holds_alternative<LogEntry>(entry.fact)) {
        return;
    }
    MutexLock lock(mutex_);
    facts_.push_back(entry.fact);
    changed_.NotifyAll();
}

void JournalWatch::Forget() {
    MutexLock lock(mutex_);
    facts_.clear();
}

bool JournalWatch::AwaitFact(int64_t timeoutMs, const std::function<bool(const JournalFact&)>& isIt) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    size_t next = 0;
    MutexLock lock(mutex_);
    while (true) {
        for (; next < facts_.size(); ++next) {
            if (isIt(facts_[next])) {
                return true;
            }
        }
        if (changed_.WaitUntil(mutex_, end) == std::cv_status::timeout) {
            return false;
        }
    }
}

}  // namespace ZYRA::Host
