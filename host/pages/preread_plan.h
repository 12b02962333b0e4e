// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "host/pages/page_record.h"

namespace ZYRA::Host {

// In which pieces, and in which order, the pages of a record are best read: roughly in the order of the first touch, so
// that the scene's processes find at first what they need first; but pages that are touched within the same stretch are
// put in the order in which they stand, and small gaps between them are read too, as one larger piece costs a disk less
// than several small ones. Every page of the record is in one piece; no piece is larger than one request should be.
std::vector<RecordedRange> PlanPreread(const PageRecord& record);

}  // namespace ZYRA::Host
