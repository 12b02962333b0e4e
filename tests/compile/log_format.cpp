// SPDX-License-Identifier: Apache-2.0
// Compiled once for each CASE: case 0 must compile, every other one must not.
#include <cstdint>
#include <string>

#include "platform/log.h"

using ZYRA::LogLevel;

void LogCase(const std::string& text, int64_t wide, uint8_t small, bool flag);
void LogCase(const std::string& text, int64_t wide, uint8_t small, bool flag) {
    constexpr ZYRA::LogLabel LABEL = {1, "TAG"};
#if CASE == 0
    ZYRA_LOG(LogLevel::INFO, LABEL, "%{public}s %{private}ld %{public}d %d 100%%", text.c_str(), wide, small, flag);
#elif CASE == 1  // a wide argument for a narrow conversion
    ZYRA_LOG(LogLevel::INFO, LABEL, "%{public}d", wide);
#elif CASE == 2  // a signed argument for an unsigned conversion
    ZYRA_LOG(LogLevel::INFO, LABEL, "%{public}u", -1);
#elif CASE == 3  // too few arguments
    ZYRA_LOG(LogLevel::INFO, LABEL, "%{public}d %{public}d", small);
#elif CASE == 4  // too many arguments
    ZYRA_LOG(LogLevel::INFO, LABEL, "%{public}d", small, flag);
#elif CASE == 5  // an unknown marker
    ZYRA_LOG(LogLevel::INFO, LABEL, "%{pubilc}d", small);
#elif CASE == 6  // a string object
    ZYRA_LOG(LogLevel::INFO, LABEL, "%{public}s", text);
#elif CASE == 7  // a format that is no literal
    ZYRA_LOG(LogLevel::INFO, LABEL, text.c_str());
#endif
}
