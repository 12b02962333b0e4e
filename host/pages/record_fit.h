#pragma once

#include <cstdint>
#include <vector>

#include "host/pages/file_finder.h"
#include "host/pages/page_record.h"
#include "host/pages/touched_pages.h"

namespace ZYRA::Host {

// How well a record fits what a start that was preread from it has touched.
struct RecordFit {
    uint64_t recorded = 0;
    uint64_t neverTouched = 0;  // Of the recorded pages.
    uint64_t missed = 0;        // Touched for sure, and not recorded.

    // A record that misses more than a twentieth of what it holds is to be made anew.
    bool IsPoor() const { return missed > recorded / 20; }
};

// Files that have no path do not count. Pages that were mapped around a fault count as touched where they are recorded,
// so that more of them may never have been.
RecordFit CompareRecord(const PageRecord& record, const TouchedPages& touched, const std::vector<MappedFile>& mapped,
                        const FileFinder& finder);

}  // namespace ZYRA::Host
