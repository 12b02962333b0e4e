#include "host/replay/learning_lines.h"

#include <algorithm>
#include <charconv>
#include <string_view>

namespace ZYRA::Host {

namespace {

constexpr std::string_view TAG = "IOSched";

bool TakePrefix(std::string_view& text, std::string_view prefix) {
    if (text.substr(0, prefix.size()) != prefix) {
        return false;
    }
    text.remove_prefix(prefix.size());
    return true;
}

// The number that the text is, 0 when it is none.
uint64_t NumberOf(std::string_view text) {
    uint64_t number = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && stop == text.data() + text.size() ? number : 0;
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
    if (entry.tag != TAG) {
        return std::nullopt;
    }
    // Which function says it is of no interest.
    std::string_view text = entry.text;
    text.remove_prefix(std::min(text.find(":]"), text.size()));
    TakePrefix(text, ":]");
    if (TakePrefix(text, "sceneName: ")) {
        return ReadPage(text);
    }
    if (TakePrefix(text, "UpdateTopNScene success, cacheTopNScenes_ size:")) {
        return PublishedLine{NumberOf(text)};
    }
    if (TakePrefix(text, "persist temp scene to the db finished: ")) {
        return FlushLine{true, NumberOf(text)};
    }
    if (text == "persistent temp scene failed") {
        return FlushLine{false, 0};
    }
    if (text == "satisfy train condition.") {
        return TrainingLine{TrainingLine::Phase::BEGUN};
    }
    if (text == "temp scene table is empty, no training.") {
        return TrainingLine{TrainingLine::Phase::SKIPPED};
    }
    // The line of the start-up load has no blank before its second number.
    if (text.substr(0, 12) == "trainTimes: " && text.find(", lastTrainTime: ") != std::string_view::npos) {
        return TrainingLine{TrainingLine::Phase::DONE};
    }
    if (TakePrefix(text, "ApplyTopNConfig cacheTopNSceneNum_ = ") ||
        TakePrefix(text, "ApplyDefaultTopNConfig cacheTopNSceneNum_ = ")) {
        return CapacityLine{NumberOf(text)};
    }
    return std::nullopt;
}

}  // namespace ZYRA::Host
