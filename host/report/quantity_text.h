// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

namespace ZYRA::Host {

// A number of bytes in the unit that leaves one to three digits before the point: "37.1 MB".
std::string Bytes(uint64_t bytes);

// A time in the unit that tells it best: "0.250 s", "41.7 minutes", "5.0 hours", "3.2 days".
std::string Duration(int64_t us);

// A number of things: "1 file", "2 files"; the plural is given where it is not formed with an s.
std::string Counted(uint64_t count, const std::string& noun);
std::string Counted(uint64_t count, const std::string& noun, const std::string& plural);

}  // namespace ZYRA::Host
