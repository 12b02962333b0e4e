// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

#include "host/machine/machine_view.h"
#include "host/pages/file_finder.h"
#include "host/pages/page_record.h"
#include "host/pages/touched_pages.h"

namespace ZYRA::Host {

// How well a record fits what a start that was preread from it has touched.
struct RecordFit {
    uint64_t recorded = 0;
    uint64_t neverTouched = 0;  // Of the recorded pages.
    PageRecord missing;         // Touched for sure, and not recorded.

    uint64_t Missed() const { return missing.Pages(); }

    // A record that misses more than a twentieth of what it holds is to be made anew.
    bool IsPoor() const { return Missed() > recorded / 20; }

    // One that misses less takes in what it misses, as long as nearly all it holds is touched: where starts differ,
    // each would add to it what the next one does not need.
    bool IsToBeExtended() const { return Missed() != 0 && neverTouched <= recorded / 10; }
};

// Files that have no path, and pages beyond their ends, do not count. Pages that were mapped around a fault count as
// touched where they are recorded, so that more of them may never have been.
RecordFit CompareRecord(const PageRecord& record, const CollectedPages& collected, const FileFinder& finder,
                        const MachineView& machine);

// The record with the pages of the other behind its own. A file that is not the same in both stays as the first has it.
PageRecord ExtendRecord(PageRecord record, const PageRecord& more);

}  // namespace ZYRA::Host
