// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/App.hpp>
#include <string>

namespace ZYRA::Host {

// Lets the command's help begin with examples.
void SetExamples(CLI::App& command, const std::string& examples);

}  // namespace ZYRA::Host
