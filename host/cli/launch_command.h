// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/App.hpp>
#include <cstdint>
#include <string>
#include <vector>

#include "host/cli/exit_code.h"

namespace ZYRA::Host {

// `iosched-host launch`: starts a real program cold, with the plugin and without, and says what it gains.
class LaunchCommand {
public:
    // Adds the command with its options, which write into this object.
    void AddTo(CLI::App& app);

    // REQUIRES: the command line has been parsed, and the process has one thread only. Leaves the process in the
    // sandbox.
    ExitCode Run();

private:
    std::vector<std::string> program_;
    uint64_t runs_ = 5;
    int64_t headStartMs_ = 0;
    uint64_t background_ = 0;
    bool isUnlimited_ = false;
    std::string recordMode_ = "exact";
    std::string jsonFile_;
    std::string journalFile_;
    std::string dataFolder_;
    std::string pluginFile_;
};

}  // namespace ZYRA::Host
