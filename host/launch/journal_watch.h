// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "host/runtime/journal.h"
#include "platform/mutex.h"

namespace ZYRA::Host {

// Waits for what happens on the device. Thread-safe.
class JournalWatch final : public JournalSink {
public:
    JournalWatch() { Journal::GetInstance().AddSink(this); }
    ~JournalWatch() override { Journal::GetInstance().RemoveSink(this); }
    JournalWatch(const JournalWatch&) = delete;
    JournalWatch& operator=(const JournalWatch&) = delete;

    void OnEntry(const JournalEntry& entry) override;

    // What happened before does not count for the next AwaitFact.
    void Forget();

    // Returns as soon as a fact has happened for which `isIt` is true; false when the time is over before. `isIt` sees
    // each fact since Forget once, in order.
    bool AwaitFact(int64_t timeoutMs, const std::function<bool(const JournalFact&)>& isIt);

private:
    Mutex mutex_;
    ConditionVariable changed_;
    std::vector<JournalFact> facts_ GUARDED_BY(mutex_);
};

}  // namespace ZYRA::Host
