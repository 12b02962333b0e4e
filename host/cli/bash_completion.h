// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/App.hpp>
#include <string>

namespace ZYRA::Host {

// A script for bash that completes the commands, options and values of the definitions.
std::string BashCompletion(const CLI::App& app);

}  // namespace ZYRA::Host
