// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "host/report/findings.h"

namespace ZYRA::Host {

// The summary as the user reads it: plain text in lines, with terminal colours when asked for.
std::string SummaryText(const Findings& findings, bool isColoured);

}  // namespace ZYRA::Host
