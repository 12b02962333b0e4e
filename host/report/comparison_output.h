// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "host/report/comparison.h"

namespace ZYRA::Host {

// The comparison as the user reads it: a table with the runs side by side, and the scenes that differ most.
std::string ComparisonText(const Comparison& comparison);

// The comparison as a program reads it: one JSON object, whose members docs/formats.md lists. Its `schema` grows when
// anything is renamed or removed.
std::string ComparisonJson(const Comparison& comparison, bool isInterrupted);

}  // namespace ZYRA::Host
