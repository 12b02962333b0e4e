// SPDX-License-Identifier: Apache-2.0
#include "host/cli/replay_progress.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>

#include "host/report/quantity_text.h"

namespace ZYRA::Host {

namespace {

constexpr int64_t PERCENT = 100;

std::string ProgressText(const std::string& what, uint64_t allSteps, const ReplayProgress& progress) {
    const std::string share =
        progress.steps == allSteps
            ? "settling"
            : fmt::format("{} % of {} steps", progress.steps * static_cast<uint64_t>(PERCENT) / allSteps, allSteps);
    return fmt::format("{}: {}, {}", what, share, Duration(progress.deviceUs));
}

}  // namespace

ScenarioFile::CheckProgress TellCheckOn(PacedProgress& progress, const std::string& scenarioFile) {
    const std::string name = std::filesystem::path(scenarioFile).filename();
    return [name, &progress](int64_t bytes, int64_t allBytes) {
        progress.Tell(
            [&] { return fmt::format("reading {}: {} %", name, bytes * PERCENT / std::max<int64_t>(allBytes, 1)); });
    };
}

std::function<void(const ReplayProgress&)> TellReplayOn(PacedProgress& progress, const std::string& what,
                                                        uint64_t allSteps) {
    return [what, allSteps, &progress](const ReplayProgress& now) {
        progress.Tell([&] { return ProgressText(what, allSteps, now); });
    };
}

}  // namespace ZYRA::Host
