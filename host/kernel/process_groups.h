// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ZYRA::Host {

// Which process is in which group of a facility: each is in one at a time. Groups are numbered by their owner. Not
// thread-safe.
class ProcessGroups {
public:
    // Nothing for a process that was never put anywhere.
    std::optional<int> GroupOf(int32_t pid) const;

    // Takes the process out of its group, if it has one, and puts it at the end of this one.
    void Move(int32_t pid, int group);
    // The process is nowhere any more.
    void Remove(int32_t pid);

    // In the order of arrival.
    std::vector<int32_t> Members(int group) const;
    bool IsEmpty(int group) const;

    // The members as a process list file shows them, one a line.
    std::string Text(int group) const;

private:
    struct Place {
        int32_t pid;
        int group;
    };

    std::vector<Place> places_;
};

}  // namespace ZYRA::Host
