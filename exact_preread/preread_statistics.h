// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace ZYRA::ResourceSchedule {

// The kernel's counts of prereads.
struct PrereadStatistics {
    int32_t succ = 0;
    int32_t fail = 0;
    // Of all successful prereads together, in the kernel's unit.
    uint64_t size = 0;

    // Whether nothing was preread, so that there is nothing to report.
    bool IsEmpty() const;
    // Of one successful preread; without any, the size as it is.
    uint64_t AverageSize() const;
};

// Takes the lines of the statistics file by their exact keys; of each key the last line counts.
PrereadStatistics ParseStatistics(const std::vector<std::string>& lines);

}  // namespace ZYRA::ResourceSchedule
