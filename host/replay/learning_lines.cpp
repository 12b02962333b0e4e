// SPDX-License-Identifier: Apache-2.0
#include "host/replay/learning_lines.h"

#include <string_view>

#include "host/replay/plugin_line.h"

namespace ZYRA::Host {

namespace {

// The number that the rest of the line is, 0 when it is none.
uint64_t NumberOf(LineReader line) {
    const auto number = line.TakeNumber<uint64_t>();
    return number && line.Rest().empty() ? *number : 0;
}

// What stands behind "sceneName: ". A name may hold anything, the end of the line is fixed.
std::optional<LearningLine> ReadPage(std::string_view text) {
    constexpr std::string_view SERVED = ", isTopNScene: ";
    constexpr std::string_view IN_SET = ", isTrained: ";
    const size_t served = text.rfind(SERVED);
    const size_t inSet = text.rfind(IN_SET);
    if (served == std::string_view::npos || inSet == std::string_view::npos || inSet < served) {
        return std::nullopt;
    }
    const size_t answer = served + SERVED.size();
    return PageLine{std::string(text.substr(0, served)), text.substr(answer, inSet - answer) == "1",
                    text.substr(inSet + IN_SET.size()) == "1"};
}

}  // namespace

std::optional<LearningLine> ReadLearningLine(const LogEntry& entry) {
    auto line = ReadPluginLine(entry);
    if (!line) {
        return std::nullopt;
    }
    if (line->Take("sceneName: ")) {
        return ReadPage(line->Rest());
    }
    if (line->Take("UpdateTopNScene success, cacheTopNScenes_ size:")) {
        return PublishedLine{NumberOf(*line)};
    }
    if (line->Take("persist temp scene to the db finished: ")) {
        return FlushLine{true, NumberOf(*line)};
    }
    if (line->Rest() == "persistent temp scene failed") {
        return FlushLine{false, 0};
    }
    if (line->Rest() == "satisfy train condition.") {
        return TrainingLine{TrainingLine::Phase::BEGUN};
    }
    if (line->Rest() == "temp scene table is empty, no training.") {
        return TrainingLine{TrainingLine::Phase::SKIPPED};
    }
    // The line of the start-up load has no blank before its second number.
    if (line->Take("trainTimes: ") && line->Rest().find(", lastTrainTime: ") != std::string_view::npos) {
        return TrainingLine{TrainingLine::Phase::DONE};
    }
    if (line->Take("ApplyTopNConfig cacheTopNSceneNum_ = ") ||
        line->Take("ApplyDefaultTopNConfig cacheTopNSceneNum_ = ")) {
        return CapacityLine{NumberOf(*line)};
    }
    return std::nullopt;
}

}  // namespace ZYRA::Host
