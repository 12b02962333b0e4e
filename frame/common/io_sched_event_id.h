// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace ZYRA::ResourceSchedule {

// Ids of the events that the plugin posts to itself.
constexpr uint32_t IOSCHED_EVENT_HANDLER_START = 2;
constexpr uint32_t IOSCHED_EVENT_DEFERRED_START = 4;

// The time-outs of exact preread: the only events that features post and remove. The ids are consecutive.
constexpr uint32_t IOSCHED_EVENT_START_COLLECT_TIMEOUT = 20;
constexpr uint32_t IOSCHED_EVENT_DELAY_COLLECT_TIMEOUT = 21;
constexpr uint32_t IOSCHED_EVENT_PAUSE_ALL_COLLECT_TIMEOUT = 22;
constexpr uint32_t IOSCHED_EVENT_PAUSE_COLLECT_TIMEOUT = 23;
constexpr uint32_t IOSCHED_EVENT_PRELOAD_TTL = 24;

constexpr uint32_t IOSCHED_EVENT_TOP_N_UPDATE = 50;

}  // namespace ZYRA::ResourceSchedule
