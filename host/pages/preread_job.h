// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "host/kernel/page_backend.h"
#include "host/machine/machine_view.h"
#include "host/pages/opened_record.h"

namespace ZYRA::Host {

// Reads the pages of a record into the page cache, on the caller's thread and some of its own: those that are not there
// yet, of files that are as they were. The folders and links that were looked at on the way to them are looked at as
// well. Returns when everything has arrived, or memory has become short: that is a failed preread, as is one of whose
// pages some cannot be read. What has arrived is counted either way.
PrereadResult ReadRecordedPages(const OpenedRecord& record, const MachineView& machine,
                                const std::string& meminfo = "/proc/meminfo");

}  // namespace ZYRA::Host
