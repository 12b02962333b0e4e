// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <nlohmann/json.hpp>

#include "host/report/timeline/run_timeline.h"

namespace ZYRA::Host {

// The timeline and the stories of cold starts, as a report holds them; docs/formats.md lists their members.
nlohmann::ordered_json TimelineObject(const RunTimeline& timeline);
nlohmann::ordered_json StartsObject(const StartStories& starts);

}  // namespace ZYRA::Host
