// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>
#include <variant>

#include "platform/platform_api.h"

namespace ZYRA {

enum class EventLogType { FAULT, STATISTIC };

using EventLogValue = std::variant<int32_t, int64_t, uint64_t, std::string>;
// A parameter's name and typed value; parameters are stored in the order given.
using EventLogParam = std::pair<const char*, EventLogValue>;

// Writes system events. Thread-safe.
//
// A rate limiter stands before every event, counted for each domain and name apart: of the events written within one
// period all but the first EVENT_LOG_MAX_PER_PERIOD are dropped. The period starts with the first event after the last
// one has run out. Both numbers are the platform's defaults.
class PLATFORM_API EventLog {
public:
    static constexpr int64_t EVENT_LOG_PERIOD_S = 5;
    static constexpr uint32_t EVENT_LOG_MAX_PER_PERIOD = 100;

    // Returns 0 when the event was written, non-zero when the limiter or the writer refused it.
    static int32_t Write(const std::string& domain, const std::string& name, EventLogType type,
                         std::initializer_list<EventLogParam> params);
};

}  // namespace ZYRA
