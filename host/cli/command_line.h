// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/App.hpp>

#include "host/cli/compare_command.h"
#include "host/cli/generate_command.h"
#include "host/cli/import_command.h"
#include "host/cli/launch_command.h"
#include "host/cli/records_command.h"
#include "host/cli/replay_command.h"

namespace ZYRA::Host {

// The whole command line: every command with its options, from which the help, the man page and the completion of
// shells are made.
class CommandLine {
public:
    CommandLine();

    // Does what the arguments ask for and returns the exit status. Can throw what a command throws. REQUIRES: called
    // once, while the process has one thread only.
    int Run(int argc, char** argv);

    const CLI::App& Definitions() const { return app_; }

private:
    CLI::App app_;
    ReplayCommand replay_;
    CompareCommand compare_;
    GenerateCommand generate_;
    ImportCommand import_;
    RecordsCommand records_;
    LaunchCommand launch_;
};

}  // namespace ZYRA::Host
