// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace ZYRA::Host {

// Events of a scenario, in the numbering of the service that sends them; docs/life_cycle.md tells what each does.
constexpr uint32_t EVENT_SCREEN = 0;
constexpr uint32_t EVENT_PROCESS_START = 4;
constexpr uint32_t EVENT_USER_INPUT = 9;
constexpr uint32_t EVENT_PAGE = 10;
constexpr uint32_t EVENT_SLIDE = 11;
constexpr uint32_t EVENT_BUNDLE = 15;
constexpr uint32_t EVENT_ABILITY_START = 27;

// Values of theirs.
constexpr int64_t SCREEN_IS_OFF = 0;
constexpr int64_t SCREEN_IS_ON = 1;
constexpr int64_t PROCESS_HAS_STARTED = 0;
constexpr int64_t USER_HAS_ACTED = 1;
constexpr int64_t PAGE_BEGINS = 0;
constexpr int64_t PAGE_IS_SHOWN = 1;
constexpr int64_t SLIDE_ENDS = 0;
constexpr int64_t SLIDE_BEGINS = 1;
constexpr int64_t BUNDLE_IS_REMOVED = 0;
constexpr int64_t BUNDLE_HAS_CHANGED = 1;  // Or is new.
constexpr int64_t WARM_START = 0;
constexpr int64_t COLD_START = 1;

}  // namespace ZYRA::Host
