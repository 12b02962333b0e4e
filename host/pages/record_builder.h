// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

#include "host/machine/machine_view.h"
#include "host/pages/file_finder.h"
#include "host/pages/page_record.h"
#include "host/pages/touched_pages.h"

namespace ZYRA::Host {

struct BuiltRecord {
    PageRecord record;
    // Files that have no path any more, or none that leads to them.
    uint64_t lostFiles = 0;
};

// Makes the record of what was touched: finds the files' paths, and leaves out what is beyond their ends, and files
// that were written meanwhile: they will have been written again when the record is looked at.
//
// `aroundCounts` says which of the pages around a fault belong to it that are not sure. With false, those that are in
// the page cache now: where only what was demanded is ever put there, they were there before, and most likely wanted.
// With true all of them.
BuiltRecord BuildRecord(const CollectedPages& collected, bool aroundCounts, const FileFinder& finder,
                        const MachineView& machine);

}  // namespace ZYRA::Host
