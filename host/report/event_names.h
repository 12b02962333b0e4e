// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

namespace ZYRA::Host {

// The events that the plugin knows, in the numbering of the service that sends them.
constexpr uint32_t EVENT_SCREEN = 0;
constexpr uint32_t EVENT_PROCESS_START = 4;
constexpr uint32_t EVENT_PAGE = 10;
constexpr uint32_t EVENT_SLIDE = 11;
constexpr uint32_t EVENT_ABILITY_START = 27;

// Values of theirs.
constexpr int64_t PROCESS_HAS_STARTED = 0;
constexpr int64_t PAGE_BEGINS = 0;
constexpr int64_t PAGE_IS_SHOWN = 1;
constexpr int64_t SLIDE_BEGINS = 1;
constexpr int64_t COLD_START = 1;

// What happened, for people: "page begins". An event that the plugin does not know is told by its numbers.
std::string EventName(uint32_t resType, int64_t value);

}  // namespace ZYRA::Host
