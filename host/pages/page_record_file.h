// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

#include "host/pages/page_record.h"

namespace ZYRA::Host {

// Page records in the files of the record directory. Only files below it are touched, and no link on the way from there
// is followed. Thread-safe.

// The record in the file. Returns nothing with an empty `reason` when there is no file or nothing in it, and with a few
// words for anything else: the file cannot be read, or is no record that holds together.
std::optional<PageRecord> LoadPageRecord(const std::string& path, std::string& reason);

// Puts the record in the place of an existing file, as ConfinedFolder::Replace does; the file is never created. Returns
// 0 or an errno, EFBIG for a record beyond what LoadPageRecord takes. REQUIRES: a record that DecodeRecord would take,
// its bounds aside.
int SavePageRecord(const std::string& path, const PageRecord& record);

}  // namespace ZYRA::Host
