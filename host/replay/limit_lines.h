#pragma once

#include <cstdint>
#include <optional>
#include <variant>

#include "host/runtime/journal.h"

namespace ZYRA::Host {

// What the plugin's log lines say of its limiting. The texts are an interface of the plugin.

// It begins to look at who runs.
struct ChoosingLine {};
// The process belongs to the application that starts.
struct ForegroundLine {
    int32_t uid;
    int32_t pid;
};
// The process is one to limit, unless a list says otherwise.
struct ChosenLine {
    int32_t uid;
    int32_t pid;
};
// The process gets no time on a processor, so that it needs no limit.
struct FrozenLine {
    int32_t uid;
    int32_t pid;
};

using LimitLine = std::variant<ChoosingLine, ForegroundLine, ChosenLine, FrozenLine>;

// Nothing for a line that says nothing of the limiting.
std::optional<LimitLine> ReadLimitLine(const LogEntry& entry);

}  // namespace ZYRA::Host
