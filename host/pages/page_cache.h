// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include "host/pages/page_set.h"

namespace ZYRA::Host {

// What of a file is in the page cache. `file` is a regular file that is open for reading. Thread-safe.

// The first `pages` pages of the file that are there now; none where the kernel does not tell.
PageSet ResidentPages(int file, uint64_t pages);

// How many pages of the range are there, or on their way from the disk; none where the kernel does not tell.
uint64_t CountResident(int file, const PageRange& range);

// Has the kernel begin to read what is not there of the range, however long. False on failure, with errno set.
bool StartReading(int file, const PageRange& range);

// The memory that could be had without swapping, in bytes, as `meminfo` has it, and all there is; both UINT64_MAX where
// it does not tell.
struct MemoryState {
    uint64_t available = UINT64_MAX;
    uint64_t total = UINT64_MAX;
};
MemoryState ReadMemoryState(const std::string& meminfo = "/proc/meminfo");

}  // namespace ZYRA::Host
