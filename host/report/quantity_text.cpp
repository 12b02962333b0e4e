// SPDX-License-Identifier: Apache-2.0
#include "host/report/quantity_text.h"

#include <fmt/format.h>

#include <array>

namespace ZYRA::Host {

std::string Bytes(uint64_t bytes) {
    constexpr std::array<const char*, 4> UNITS = {"kB", "MB", "GB", "TB"};
    constexpr double STEP = 1000;
    if (static_cast<double>(bytes) < STEP) {
        return fmt::format("{} B", bytes);
    }
    double amount = static_cast<double>(bytes) / STEP;
    size_t unit = 0;
    for (; amount >= STEP && unit + 1 < UNITS.size(); ++unit) {
        amount /= STEP;
    }
    return fmt::format("{:.1f} {}", amount, UNITS.at(unit));
}

std::string Duration(int64_t us) {
    constexpr double US_PER_S = 1e6;
    constexpr double S_PER_MINUTE = 60;
    constexpr double S_PER_HOUR = 3600;
    constexpr double S_PER_DAY = 24 * S_PER_HOUR;
    const double seconds = static_cast<double>(us) / US_PER_S;
    if (seconds < 2 * S_PER_MINUTE) {
        return fmt::format("{:.3f} s", seconds);
    }
    if (seconds < 2 * S_PER_HOUR) {
        return fmt::format("{:.1f} minutes", seconds / S_PER_MINUTE);
    }
    return seconds < 2 * S_PER_DAY ? fmt::format("{:.1f} hours", seconds / S_PER_HOUR)
                                   : fmt::format("{:.1f} days", seconds / S_PER_DAY);
}

std::string Counted(uint64_t count, const std::string& noun, const std::string& plural) {
    return fmt::format("{} {}", count, count == 1 ? noun : plural);
}

std::string Counted(uint64_t count, const std::string& noun) {
    return Counted(count, noun, noun + 's');
}

}  // namespace ZYRA::Host
