// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace ZYRA::Host {

// The text with control characters escaped and bad UTF-8 replaced, fit for one line of a terminal.
std::string Printable(std::string_view text);

// The same in double quotes, with the quotes inside escaped.
std::string Quoted(std::string_view text);

}  // namespace ZYRA::Host
