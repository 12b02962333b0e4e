// The main of every test program: the tests run inside the sandbox, so that the plugin's absolute paths are the virtual
// device's and nothing of the machine is touched.

#include <gtest/gtest.h>

#include <iostream>

#include "host/sandbox/sandbox.h"

namespace {

constexpr uint64_t ROM_BYTES = 128ULL << 30;

class SandboxEnvironment final : public ::testing::Environment {
public:
    void SetUp() override {
        const auto error = ZYRA::Host::EnterSandbox({ROM_BYTES, ""});
        if (error.has_value()) {
            GTEST_SKIP() << *error;
        }
    }
};

}  // namespace

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    // Listing the tests must work anywhere.
    if (!GTEST_FLAG_GET(list_tests)) {
        ::testing::AddGlobalTestEnvironment(new SandboxEnvironment());
    }
    return RUN_ALL_TESTS();
}
