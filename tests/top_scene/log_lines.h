// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "host/runtime/journal.h"
#include "platform/log.h"

namespace ZYRA::ResourceSchedule {

// What is logged while it lives, at every level: the level's first letter, a blank, and the text without the name of
// the function. One thread.
class LogLines final : private Host::JournalSink {
public:
    LogLines() {
        logThreshold = static_cast<int32_t>(LogLevel::DEBUG);
        Host::Journal::GetInstance().AddSink(this);
    }
    ~LogLines() override { Host::Journal::GetInstance().RemoveSink(this); }
    LogLines(const LogLines&) = delete;
    LogLines& operator=(const LogLines&) = delete;

    std::vector<std::string> Take() {
        functions_.clear();
        return std::exchange(lines_, {});
    }
    // The names that were left out.
    const std::vector<std::string>& Functions() const { return functions_; }
    // The same, only those of a level.
    std::vector<std::string> Take(char level) {
        std::erase_if(lines_, [level](const std::string& line) { return line.front() != level; });
        return Take();
    }
    bool Has(const std::string& line) const { return std::find(lines_.begin(), lines_.end(), line) != lines_.end(); }

private:
    void OnEntry(const Host::JournalEntry& entry) override {
        if (const auto* log = std::get_if<Host::LogEntry>(&entry.fact)) {
            const size_t prefixEnd = log->text.find(":]");
            functions_.push_back(log->text.substr(1, prefixEnd - 1));
            lines_.push_back(std::string(1, "DIWEF"[static_cast<int>(log->level) - static_cast<int>(LogLevel::DEBUG)]) +
                             " " + log->text.substr(prefixEnd + 2));
        }
    }

    std::vector<std::string> lines_;
    std::vector<std::string> functions_;
};

}  // namespace ZYRA::ResourceSchedule
