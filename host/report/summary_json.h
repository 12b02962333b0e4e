// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "host/report/findings.h"

namespace ZYRA::Host {

// The summary as a program reads it: one JSON object, whose members docs/formats.md lists. Its `schema` grows when
// anything is renamed or removed.
std::string SummaryJson(const Findings& findings);

}  // namespace ZYRA::Host
