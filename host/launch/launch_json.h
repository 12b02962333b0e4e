// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "host/launch/launch_result.h"

namespace ZYRA::Host {

// What came of the starts as a program reads it: one JSON object, whose members docs/formats.md lists. Its `schema`
// grows when anything is renamed or removed.
std::string LaunchJson(const LaunchResult& result);

}  // namespace ZYRA::Host
