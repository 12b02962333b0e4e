// SPDX-License-Identifier: Apache-2.0
#include "host/workload/day_plan.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace ZYRA::Host {

namespace {

// How much is done in each hour of the day, in proportion.
using HourWeights = std::array<uint64_t, 24>;
constexpr HourWeights WORKING_DAY = {1, 0, 0, 0, 0, 0, 2, 6, 6, 3, 2, 2, 6, 4, 2, 2, 2, 3, 5, 6, 6, 6, 5, 2};
constexpr HourWeights FREE_DAY = {1, 0, 0, 0, 0, 0, 0, 1, 3, 5, 5, 4, 5, 4, 3, 3, 3, 3, 4, 5, 6, 6, 6, 4};

constexpr int64_t FEWEST_SESSIONS = 60;
constexpr int64_t MOST_SESSIONS = 80;

int64_t Minutes(int64_t fewest, int64_t most, Random& random) {
    return random.Between(fewest * MS_PER_MINUTE, most * MS_PER_MINUTE);
}

// A stay at a desk with a charger.
void PlanDeskCharge(Random& random, std::vector<ChargerChange>& changes) {
    constexpr int64_t EARLIEST = 10 * 60 + 30;
    constexpr int64_t LATEST = 16 * 60;
    const int64_t beginMs = Minutes(EARLIEST, LATEST, random);
    changes.push_back({beginMs, true});
    changes.push_back({beginMs + Minutes(30, 120, random), false});
}

}  // namespace

DayPlan PlanDay(bool isFreeDay, Random& random) {
    const int64_t wakeMs = (isFreeDay ? 8 : 7) * MS_PER_HOUR + Minutes(-30, isFreeDay ? 75 : 30, random);
    const int64_t bedMs = 23 * MS_PER_HOUR + Minutes(-30, isFreeDay ? 75 : 30, random);
    const HourWeights& weights = isFreeDay ? FREE_DAY : WORKING_DAY;
    const Popularity hours({weights.begin(), weights.end()});

    DayPlan plan;
    plan.sessionsMs = {wakeMs, bedMs};
    const auto count = static_cast<size_t>(random.Between(FEWEST_SESSIONS, MOST_SESSIONS));
    while (plan.sessionsMs.size() < count) {
        // What is done after midnight belongs to the evening.
        const auto hour = static_cast<int64_t>(hours.Pick(random));
        const int64_t timeMs = (hour == 0 ? 24 : hour) * MS_PER_HOUR + random.Between(0, MS_PER_HOUR - 1);
        if (timeMs > wakeMs && timeMs < bedMs) {
            plan.sessionsMs.push_back(timeMs);
        }
    }
    std::sort(plan.sessionsMs.begin(), plan.sessionsMs.end());

    constexpr uint64_t DESK_PERCENT = 35;
    plan.chargerChanges.push_back({wakeMs + Minutes(2, 40, random), false});
    if (random.Chance(isFreeDay ? DESK_PERCENT / 2 : DESK_PERCENT)) {
        PlanDeskCharge(random, plan.chargerChanges);
    }
    return plan;
}

}  // namespace ZYRA::Host
