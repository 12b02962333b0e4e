// SPDX-License-Identifier: Apache-2.0
#include "host/replay/printable.h"

#include <nlohmann/json.hpp>

namespace ZYRA::Host {

std::string Quoted(std::string_view text) {
    return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::string Printable(std::string_view text) {
    std::string printable;
    const std::string quoted = Quoted(text);
    for (size_t at = 1; at + 1 < quoted.size(); ++at) {
        // Only what would leave the line stays escaped.
        if (quoted[at] == '\\' && (quoted[at + 1] == '"' || quoted[at + 1] == '\\')) {
            ++at;
        }
        printable += quoted[at];
    }
    return printable;
}

}  // namespace ZYRA::Host
