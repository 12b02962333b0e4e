// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/App.hpp>
#include <string>
#include <vector>

#include "host/cli/exit_code.h"
#include "host/cli/replay_inputs.h"

namespace ZYRA::Host {

// `iosched-host compare`: plays one scenario on several devices and says in what the runs differ.
class CompareCommand {
public:
    // Adds the command with its options, which write into this object.
    void AddTo(CLI::App& app);

    // REQUIRES: the command line has been parsed, and the process has one thread only.
    ExitCode Run();

private:
    std::string scenarioFile_;
    std::vector<std::string> deviceFiles_;
    std::string jsonFile_;
    ReplaySettings settings_;
};

}  // namespace ZYRA::Host
