// SPDX-License-Identifier: Apache-2.0
#include "fuzz/in_sandbox.h"

#include <filesystem>
#include <fstream>

#include "host/kernel/scene_line.h"
#include "host/sandbox/sandbox.h"

std::string FileWith(const std::string& bytes) {
    const std::filesystem::path folder = ZYRA::Host::RECORD_DIRECTORY;
    std::filesystem::create_directories(folder);
    std::string path = folder / "input";
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    Require(!!(file << bytes), "a file can be written");
    return path;
}

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    const auto error = ZYRA::Host::EnterSandbox({128ULL << 30, ""});
    Require(!error, error.value_or(""));
    return 0;
}
