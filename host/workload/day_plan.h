// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

#include "host/workload/random.h"

namespace ZYRA::Host {

constexpr int64_t MS_PER_SECOND = 1000;
constexpr int64_t MS_PER_MINUTE = 60 * MS_PER_SECOND;
constexpr int64_t MS_PER_HOUR = 60 * MS_PER_MINUTE;
constexpr int64_t MS_PER_DAY = 24 * MS_PER_HOUR;

// The charger is plugged in or out at a time.
struct ChargerChange {
    int64_t timeMs;
    bool isCharging;
};

// What a person is going to do on one day. Times are from the day's midnight, in order; the evening may end after the
// next one. The device charges when the day begins and is plugged in again when it ends.
struct DayPlan {
    std::vector<int64_t> sessionsMs;  // When the device is taken up: the first time on waking, the last one at bedtime.
    std::vector<ChargerChange> chargerChanges;
};

DayPlan PlanDay(bool isFreeDay, Random& random);

}  // namespace ZYRA::Host
