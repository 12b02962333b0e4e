// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include "host/report/findings.h"

namespace ZYRA::Host {

// The summary as the user reads it: plain text in lines, with terminal colours when asked for.
std::string SummaryText(const Findings& findings, bool isColoured);

// "interrupted after 12 of 400 steps".
std::string InterruptionText(uint64_t steps, uint64_t allSteps);

}  // namespace ZYRA::Host
