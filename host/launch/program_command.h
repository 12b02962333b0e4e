// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace ZYRA::Host {

// A program as execve(2) takes it.
struct ProgramCommand {
    std::string executable;              // Its absolute path; links in it are not followed.
    std::vector<std::string> arguments;  // As they were given; the first is the name.
};

// Looks for the program that the first of the arguments names, as a shell does: a name without a slash in the folders
// of PATH, any other from the working directory. The paths must be the machine's, which they no longer are in the
// sandbox. On failure nothing, and one line in `error`.
std::optional<ProgramCommand> FindProgram(const std::vector<std::string>& arguments, std::string& error);

}  // namespace ZYRA::Host
