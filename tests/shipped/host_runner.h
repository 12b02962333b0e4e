// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

namespace ZYRA::Host {

struct Outcome {
    int exitStatus;
    std::string output;  // Both streams.
};

// Runs a command of the shell.
inline Outcome RunInShell(const std::string& command) {
    FILE* pipe = popen(("exec 2>&1; " + command).c_str(), "re");
    Outcome outcome{};
    char chunk[4096];
    for (size_t length = 0; (length = fread(chunk, 1, sizeof(chunk), pipe)) > 0;) {
        outcome.output.append(chunk, length);
    }
    outcome.exitStatus = WEXITSTATUS(pclose(pipe));
    return outcome;
}

// Runs the shipped host, through the program that `runner` begins with.
inline Outcome RunHost(const std::string& arguments, const std::string& runner = "") {
    return RunInShell(runner + HOST_BINARY + " " + arguments);
}

// A folder of its own for the files of one test.
class HostRunnerTest : public ::testing::Test {
protected:
    HostRunnerTest() { std::filesystem::create_directories(folder_); }
    ~HostRunnerTest() override { std::filesystem::remove_all(folder_); }

    std::string Write(const std::string& name, const std::string& text) const {
        const std::filesystem::path path = folder_ / name;
        std::ofstream(path) << text;
        return path;
    }

    const std::filesystem::path folder_ =
        std::filesystem::temp_directory_path() / ("iosched_host_" + std::to_string(getpid()));
};

}  // namespace ZYRA::Host
