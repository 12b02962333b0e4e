// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/replay/input_error.h"
#include "host/replay/scenario.h"
#include "host/runtime/unique_fd.h"

namespace ZYRA::Host {

// A scenario that is read while it is replayed, so that its length costs no memory. It is checked as a whole before the
// first step is given out.
class ScenarioFile {
public:
    // Called after each step while the file is checked, with how many of its bytes have been read.
    using CheckProgress = std::function<void(int64_t bytes, int64_t allBytes)>;

    // Opens and checks the file. What can be read only once, such as a pipe, is kept. On failure returns null and fills
    // `error`.
    static std::unique_ptr<ScenarioFile> Open(const std::string& path, InputError& error,
                                              const CheckProgress& onProgress = nullptr);

    // Patches that describe the device on which the plugin starts, in order.
    const std::vector<DeviceStep>& StartDevice() const { return startDevice_; }

    // How many steps it has, without those patches.
    uint64_t StepCount() const { return checkedSteps_; }

    // The next step; nothing behind the last, and nothing, with `error` filled, when the file is not what it was when
    // it was checked.
    std::optional<ScenarioStep> Next(InputError& error);

private:
    ScenarioFile(const std::string& path, UniqueFd file) : path_(path), file_(std::move(file)), reader_(path) {}

    // Back to the first line.
    void Rewind();
    // The next line without its end, nothing behind the last. What it returns holds until the next call. Throws
    // InputFailure.
    std::optional<std::string_view> NextLine();
    // The next line that is a step, be it one that describes the device at the start. Throws InputFailure.
    std::optional<ScenarioStep> NextStep();
    void Check(const CheckProgress& onProgress);
    // What a write to the file changes: its size and the time of its last change.
    using State = std::array<int64_t, 3>;
    State StateNow() const;
    // Throws InputFailure.
    void CheckUnchanged() const;
    // That the file as a whole is wrong, for the reason that errno has.
    [[noreturn]] void Fail() const;

    const std::string path_;
    // A forked process that shares the file reads it on its own.
    UniqueFd file_;
    State checkedState_{};
    std::vector<DeviceStep> startDevice_;
    uint64_t checkedSteps_ = 0;

    // Where the reading is: `text_` from `at_` on comes before the rest of the file, which begins at `offset_`.
    ScenarioReader reader_;
    off_t offset_ = 0;
    std::string text_;
    size_t at_ = 0;
    uint64_t steps_ = 0;
};

}  // namespace ZYRA::Host
