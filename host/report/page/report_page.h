// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "host/report/findings.h"
#include "host/report/timeline/run_timeline.h"

namespace ZYRA::Host {

// A page that shows a run to people: one HTML document that needs nothing beside itself. It draws what is in the JSON
// object that it holds, whose members docs/formats.md lists. `scenario` names the run.
std::string ReportPage(const std::string& scenario, const Findings& findings, const RunTimeline& timeline);

}  // namespace ZYRA::Host
