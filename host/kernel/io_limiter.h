// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace ZYRA::Host {

// What makes the groups of the IO-limit facility hold for real processes. Called by the model under its lock, so never
// twice at once; an implementation must not call the model. It may carry out later what it has not refused.
class IoLimiter {
public:
    virtual ~IoLimiter() = default;

    // Moves a process into a group. Returns 0 or an errno, and nothing has changed.
    virtual int Move(int32_t pid, const std::string& group) = 0;

    // The process is in no group any more, whether it has ended or not. Nothing happens when it is in none.
    virtual void Release(int32_t pid) = 0;

    // From now on the group's processes may read and write so many bytes a second together; nothing is without limit.
    // Returns 0 or an errno.
    virtual int Limit(const std::string& group, std::optional<uint64_t> readBps, std::optional<uint64_t> writeBps) = 0;
};

}  // namespace ZYRA::Host
