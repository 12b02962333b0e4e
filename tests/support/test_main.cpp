// SPDX-License-Identifier: Apache-2.0
// The main of every test program: the tests run inside the sandbox, so that the plugin's absolute paths are the virtual
// device's and nothing of the machine is touched.

#include <gtest/gtest.h>

#include <iostream>

#include "host/sandbox/sandbox.h"

namespace {

constexpr uint64_t ROM_BYTES = 128ULL << 30;

}  // namespace

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    // Listing the tests must work anywhere.
    const auto refusal = GTEST_FLAG_GET(list_tests) ? std::nullopt : ZYRA::Host::EnterSandbox({ROM_BYTES, ""});
    if (refusal) {
        // As ctest knows a skipped test: the library would take a program without a test for one that has passed.
        std::cout << "[  SKIPPED ] there is no sandbox: " << *refusal << '\n';
        return 0;
    }
    return RUN_ALL_TESTS();
}
