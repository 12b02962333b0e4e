// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "host/kernel/io_limiter.h"
#include "host/machine/io_groups.h"
#include "platform/mutex.h"
#include "platform/task_queue.h"

namespace ZYRA::Host {

// Makes the groups of the IO-limit facility real control groups. Moving a process holds up every start of a process or
// a thread on the machine for some milliseconds, just when somebody waits for one: so it is done on a queue of its own,
// in the order of the commands, and not at all while it makes no difference: before the first limit of a group. So Move
// refuses only a process that is not there, and Limit nothing; what the machine refuses later is a note, and a refused
// move is made with the next limit of the group. Thread-safe.
class GroupLimiter final : public IoLimiter {
public:
    // `groups` must outlive the object. REQUIRES: a runtime of threads is installed.
    explicit GroupLimiter(IoGroups& groups);
    // Carries out what was asked for.
    ~GroupLimiter() override;

    int Move(int32_t pid, const std::string& group) override;
    void Release(int32_t pid) override;
    int Limit(const std::string& group, std::optional<uint64_t> readBps, std::optional<uint64_t> writeBps) override;

    // What was refused, one line each, however often.
    std::vector<std::string> Notes();

private:
    struct Limits {
        std::optional<uint64_t> readBps;
        std::optional<uint64_t> writeBps;
        // The group is there, with these limits.
        bool isReal = false;
    };

    // Brings a group up to date that is real, or has a member and a limit and becomes so.
    void Provide(const std::string& group) REQUIRES(mutex_);
    void QueueLimit(const std::string& group) REQUIRES(mutex_);
    void QueueMove(int32_t pid, const std::string& group) REQUIRES(mutex_);
    void Note(const std::string& what, int error);

    IoGroups& groups_;
    Mutex mutex_;
    std::map<std::string, Limits> limits_ GUARDED_BY(mutex_);
    // Where processes are to be, and where those that were really moved were put; "" after a refusal.
    std::map<int32_t, std::string> wanted_ GUARDED_BY(mutex_);
    std::map<int32_t, std::string> moved_ GUARDED_BY(mutex_);
    std::set<std::string> notes_ GUARDED_BY(mutex_);
    const std::unique_ptr<TaskQueue> queue_;
};

}  // namespace ZYRA::Host
