// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace ZYRA::ResourceSchedule {

// Results of the SQLite layer; SqliteStatement::Step gives SQLite's own codes.
constexpr int32_t SQLITE_UTIL_OK = 0;
constexpr int32_t SQLITE_UTIL_ERROR = 201;
constexpr int32_t SQLITE_UTIL_TOO_MANY_ARGUMENTS = 206;

}  // namespace ZYRA::ResourceSchedule
