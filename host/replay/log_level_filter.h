// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/runtime/journal.h"

namespace ZYRA::Host {

// Lets a sink see everything but the log lines below a level.
class LogLevelFilter final : public JournalSink {
public:
    // `next` must outlive the filter.
    LogLevelFilter(LogLevel lowest, JournalSink& next) : lowest_(lowest), next_(next) {}

    void OnEntry(const JournalEntry& entry) override {
        const auto* log = std::get_if<LogEntry>(&entry.fact);
        if (log == nullptr || log->level >= lowest_) {
            next_.OnEntry(entry);
        }
    }
    bool NeedsDescriptors() const override { return next_.NeedsDescriptors(); }
    bool WantsTasks() const override { return next_.WantsTasks(); }

private:
    const LogLevel lowest_;
    JournalSink& next_;
};

}  // namespace ZYRA::Host
