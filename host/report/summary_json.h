// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "host/report/findings.h"

namespace ZYRA::Host {

// The summary as a program reads it: one JSON object, whose members docs/formats.md lists. Its `schema` grows when
// anything is renamed or removed.
nlohmann::ordered_json SummaryObject(const Findings& findings);

// The same as a text.
std::string SummaryJson(const Findings& findings);

}  // namespace ZYRA::Host
