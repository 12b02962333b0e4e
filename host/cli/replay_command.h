// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/App.hpp>
#include <string>

#include "host/cli/exit_code.h"
#include "host/cli/replay_inputs.h"
#include "host/cli/replay_outputs.h"

namespace ZYRA::Host {

// `iosched-host replay`: plays a scenario on a virtual device and says in short what happened.
class ReplayCommand {
public:
    // Adds the command with its options, which write into this object.
    void AddTo(CLI::App& app);

    // REQUIRES: the command line has been parsed, and the process has one thread only. Leaves the process in the
    // sandbox.
    ExitCode Run();

private:
    std::string scenarioFile_;
    std::string deviceFile_;
    std::string dataFolder_;
    std::string logLevel_ = "INFO";
    ReplayOutputs outputs_;
    ReplaySettings settings_;
    bool isRealTime_ = false;
    bool revealsPrivate_ = false;
};

}  // namespace ZYRA::Host
