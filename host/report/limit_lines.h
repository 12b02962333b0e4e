// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>

#include "host/runtime/journal.h"

namespace ZYRA::Host {

// What one of the plugin's log lines says of its limiting. The texts are an interface of the plugin.
struct LimitLine {
    enum class Kind : uint8_t {
        CHOOSING,    // It begins to look at who runs; no process is meant.
        FOREGROUND,  // The process belongs to the application that starts.
        CHOSEN,      // The process is one to limit, unless a list says otherwise.
        FROZEN,      // The process gets no time on a processor, so that it needs no limit.
    };
    Kind kind;
    int32_t uid = -1;
    int32_t pid = -1;
};

// Nothing for a line that says nothing of the limiting.
std::optional<LimitLine> ReadLimitLine(const LogEntry& entry);

}  // namespace ZYRA::Host
