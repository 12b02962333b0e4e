// SPDX-License-Identifier: Apache-2.0
#include "exact_preread/preread_statistics.h"

#include <cstdlib>
#include <string_view>

#include "frame/common/common_util.h"

namespace ZYRA::ResourceSchedule {

// Unsigned, because the kernel's text may hold numbers whose sum does not fit.
bool PrereadStatistics::IsEmpty() const {
    return static_cast<uint32_t>(succ) + static_cast<uint32_t>(fail) == 0;
}

uint64_t PrereadStatistics::AverageSize() const {
    return succ == 0 ? size : size / static_cast<uint64_t>(succ);
}

PrereadStatistics ParseStatistics(const std::vector<std::string>& lines) {
    constexpr std::string_view SUCC_KEY = "Succ: ";
    constexpr std::string_view FAIL_KEY = "Fail: ";
    constexpr std::string_view SIZE_KEY = "Size: ";
    PrereadStatistics statistics;
    for (const std::string& line : lines) {
        if (line.starts_with(SUCC_KEY)) {
            statistics.succ = CommonUtil::StringToInt32(line.substr(SUCC_KEY.size()));
        } else if (line.starts_with(FAIL_KEY)) {
            statistics.fail = CommonUtil::StringToInt32(line.substr(FAIL_KEY.size()));
        } else if (line.starts_with(SIZE_KEY)) {
            statistics.size = std::strtoull(line.c_str() + SIZE_KEY.size(), nullptr, 0);
        }
    }
    return statistics;
}

}  // namespace ZYRA::ResourceSchedule
