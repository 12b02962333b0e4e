// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/App.hpp>
#include <string>

namespace ZYRA::Host {

// The manual page of the program in roff, with every command, option and example of the definitions.
std::string ManPage(const CLI::App& app);

}  // namespace ZYRA::Host
