// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/App.hpp>
#include <string>
#include <vector>

namespace ZYRA::Host {

// A line of a command's examples.
struct Example {
    std::string command;
    std::string meaning;  // May be empty.
};

// Lets the command's help begin with examples: lines of a command, two or more blanks, and what it is good for.
void SetExamples(CLI::App& command, const std::string& examples);

// What SetExamples has been given for this very command.
std::vector<Example> ExamplesOf(const CLI::App& command);

// What the help names, in its order.
std::vector<const CLI::App*> VisibleCommands(const CLI::App& app);
std::vector<const CLI::Option*> VisibleOptions(const CLI::App& command);
std::vector<const CLI::Option*> VisiblePositionals(const CLI::App& command);

// The names of an option with their dashes, short ones first.
std::vector<std::string> NamesOf(const CLI::Option& option);

}  // namespace ZYRA::Host
