// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

namespace ZYRA::Host {

// What happened, for people: "page begins". An event that the plugin does not know is told by its numbers.
std::string EventName(uint32_t resType, int64_t value);

}  // namespace ZYRA::Host
