// SPDX-License-Identifier: Apache-2.0
#include "host/cli/replay_progress.h"

#include <fmt/format.h>

#include "host/report/quantity_text.h"

namespace ZYRA::Host {

namespace {

std::string ProgressText(const std::string& what, uint64_t allSteps, const ReplayProgress& progress) {
    constexpr uint64_t PERCENT = 100;
    const std::string share = progress.steps == allSteps
                                  ? "settling"
                                  : fmt::format("{} % of {} steps", progress.steps * PERCENT / allSteps, allSteps);
    return fmt::format("{}: {}, {}", what, share, Duration(progress.deviceUs));
}

}  // namespace

std::function<void(const ReplayProgress&)> TellReplayOn(PacedProgress& progress, const std::string& what,
                                                        uint64_t allSteps) {
    return [what, allSteps, &progress](const ReplayProgress& now) {
        progress.Tell([&] { return ProgressText(what, allSteps, now); });
    };
}

}  // namespace ZYRA::Host
