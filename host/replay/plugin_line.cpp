// SPDX-License-Identifier: Apache-2.0
#include "host/replay/plugin_line.h"

namespace ZYRA::Host {

std::optional<LineReader> ReadPluginLine(const LogEntry& entry) {
    constexpr std::string_view TAG = "IOSched";
    constexpr std::string_view FUNCTION_END = ":]";
    const std::string_view text = entry.text;
    const size_t end = text.find(FUNCTION_END);
    if (entry.tag != TAG || end == std::string_view::npos) {
        return std::nullopt;
    }
    return LineReader(text.substr(end + FUNCTION_END.size()));
}

}  // namespace ZYRA::Host
