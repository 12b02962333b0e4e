// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

#include "host/runtime/journal.h"

namespace ZYRA::Host {

// What the plugin's log lines say of its learning. The texts are an interface of the plugin.

// The size of the set is known.
struct CapacityLine {
    uint64_t capacity;
};
// Counts have been flushed, or could not be.
struct FlushLine {
    bool isDone;
    uint64_t names;
};
// A training has begun: it ends as done, or as skipped when nothing was launched since the last.
struct TrainingLine {
    enum class Phase { BEGUN, SKIPPED, DONE } phase;
};
struct PublishedLine {
    uint64_t size;
};
// A page was opened, and the plugin asked whether its scene is served.
struct PageLine {
    std::string scene;
    bool isServed;
    bool isInSet;  // In the published set; a scene may be served beside it, while there is room.
};

using LearningLine = std::variant<CapacityLine, FlushLine, TrainingLine, PublishedLine, PageLine>;

// Nothing for a line that says nothing of the learning.
std::optional<LearningLine> ReadLearningLine(const LogEntry& entry);

}  // namespace ZYRA::Host
