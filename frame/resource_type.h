// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace ZYRA::ResourceSchedule {

// The resource types that the plugin subscribes to, in the host's numbering. What the host observes is known only by
// what is done about it; where several lead to the same, or one to nothing, the name repeats the number.
constexpr uint32_t RES_TYPE_SCREEN = 0;
constexpr uint32_t RES_TYPE_UNUSED_1 = 1;
constexpr uint32_t RES_TYPE_WHITELIST_3 = 3;
constexpr uint32_t RES_TYPE_PROCESS_START = 4;
constexpr uint32_t RES_TYPE_CONTINUOUS_TASK = 7;
constexpr uint32_t RES_TYPE_USER_INPUT = 9;
constexpr uint32_t RES_TYPE_PUSH_PAGE = 10;
constexpr uint32_t RES_TYPE_SLIDE = 11;
constexpr uint32_t RES_TYPE_WHITELIST_12 = 12;
constexpr uint32_t RES_TYPE_BUNDLE_ACTION = 15;
constexpr uint32_t RES_TYPE_ABILITY_START = 27;
constexpr uint32_t RES_TYPE_CUST_CONFIG = 48;
constexpr uint32_t RES_TYPE_WHITELIST_70 = 70;
constexpr uint32_t RES_TYPE_WHITELIST_83 = 83;
constexpr uint32_t RES_TYPE_PRELOAD = 150;
constexpr uint32_t RES_TYPE_UNUSED_10011 = 10011;

}  // namespace ZYRA::ResourceSchedule
