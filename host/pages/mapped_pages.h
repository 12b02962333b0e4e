// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "host/machine/machine_view.h"
#include "host/pages/page_events.h"
#include "host/pages/touched_pages.h"

namespace ZYRA::Host {

// What stands in for the kernel's telling where it does not: the pages of the mapped files that are in memory now.
// After a cold start with read-ahead off they are little more than what was demanded. Files that were only read from
// are not among them.
TouchedPages ResidentPagesOf(const std::vector<MappedFile>& mapped, const MachineView& machine);

}  // namespace ZYRA::Host
