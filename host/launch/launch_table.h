// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "host/launch/launch_result.h"

namespace ZYRA::Host {

// What came of the starts as the user reads it: plain text in lines of at most 110 columns, but for words that are
// longer.
std::string LaunchTable(const LaunchResult& result);

}  // namespace ZYRA::Host
