// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include "host/pages/page_events.h"
#include "host/pages/page_set.h"

namespace ZYRA::Host {

// Which pages of which files processes have touched, gathered from what the kernel tells, in the order of the first
// touch. Not thread-safe.
//
// A page that was put into the cache, demanded by a mapping's fault or read is touched for sure. Of the pages that were
// mapped around a fault it is only known that the touched ones are among them: whoever knows what was in the cache
// before decides about those.
class TouchedPages {
public:
    struct File {
        uint64_t device = 0;
        uint64_t inode = 0;
        PageSet sure;
        PageSet around;
        bool isLoaded = false;
    };
    // Pages that were not touched before, or an inode that was read (no pages).
    struct Touch {
        uint32_t file = 0;
        PageRange pages;
        bool isSure = true;
    };

    void Note(const PageEvent& event);
    void Clear();

    const std::vector<File>& Files() const { return files_; }
    const std::vector<Touch>& Touches() const { return touches_; }

private:
    uint32_t IndexOf(uint64_t device, uint64_t inode);

    std::vector<File> files_;
    std::map<std::pair<uint64_t, uint64_t>, uint32_t> indices_;
    std::vector<Touch> touches_;
};

// Nanoseconds since the epoch, to compare with the times of files, whatever clock the device has: no file that is
// written from now on has an earlier time, and none that was written has a later one.
int64_t EarliestFileTimeNs();
int64_t LatestFileTimeNs();

// What was gathered of processes.
struct CollectedPages {
    TouchedPages touched;
    std::vector<MappedFile> mapped;
    // No file that was written after the first process was attached has an earlier time.
    int64_t begunNs = INT64_MAX;
    uint64_t lostEvents = 0;
};

}  // namespace ZYRA::Host
