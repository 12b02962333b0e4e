// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string_view>

namespace ZYRA::Host {

// The name of an errno as programmers write it ("EIO"), "EUNKNOWN" for a number that has none. Where two names share a
// number (EAGAIN, EWOULDBLOCK) it is the first of the two.
const char* ErrnoName(int error);

// The errno with that name, nothing when there is none.
std::optional<int> ErrnoFromName(std::string_view name);

}  // namespace ZYRA::Host
