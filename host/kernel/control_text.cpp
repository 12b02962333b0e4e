// SPDX-License-Identifier: Apache-2.0
#include "host/kernel/control_text.h"

namespace ZYRA::Host {

std::optional<std::string_view> CommandText(std::string_view content) {
    if (content.ends_with('\n')) {
        content.remove_suffix(1);
    }
    constexpr std::string_view NOT_IN_A_LINE("\n\0", 2);
    if (content.empty() || content.size() > LONGEST_COMMAND ||
        content.find_first_of(NOT_IN_A_LINE) != std::string_view::npos) {
        return std::nullopt;
    }
    return content;
}

std::optional<int32_t> ParsePid(std::string_view text) {
    const std::optional<int32_t> pid = ParseNumber<int32_t>(text);
    return pid && *pid > 0 ? pid : std::nullopt;
}

}  // namespace ZYRA::Host
