// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace ZYRA::ResourceSchedule {

// The privileged executor's numbers of the requests that the plugin makes: a resource type and a value each.
constexpr uint32_t EXECUTOR_RES_TYPE_EXTENSION = 8;
constexpr int64_t EXECUTOR_VALUE_PREREAD = 0;      // Prereads the record of a monitor.
constexpr int64_t EXECUTOR_VALUE_CUST_CONFIG = 1;  // Applies the customised configuration of the cache.
constexpr int64_t EXECUTOR_VALUE_WRITE_FILE = 2;   // Writes a control file.

constexpr uint32_t EXECUTOR_RES_TYPE_QUERY = 0;
constexpr int64_t EXECUTOR_VALUE_READ_FILE = 3;  // Replies with the lines of a control file.

// The kind of a request, its member "extType".
constexpr char EXT_TYPE_KEY[] = "extType";
constexpr char EXT_TYPE_IO_SCHED[] = "1010";
constexpr char EXT_TYPE_READ_FILE[] = "1008";

}  // namespace ZYRA::ResourceSchedule
