// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string_view>

#include "host/runtime/journal.h"

namespace ZYRA::Host {

// Files of each group of processes in the facility that limits IO.
constexpr std::string_view LIMIT_GROUP_PROCS = "/cgroup.procs";
constexpr std::string_view LIMIT_GROUP_SWITCH = "/iolimit.offon";

// The group whose file a path names, "" when it names no such file. What it returns is a part of the path.
std::string_view LimitGroupOf(std::string_view path, std::string_view file);

// What a write that was accepted does to the switch of a group.
struct LimitSwitch {
    std::string_view group;  // A part of the entry's path.
    bool isOn;
};

// Nothing for a write to anything else, or one that was refused.
std::optional<LimitSwitch> SwitchedBy(const FileWriteEntry& fact);

}  // namespace ZYRA::Host
