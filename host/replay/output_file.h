// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "host/runtime/unique_fd.h"

namespace ZYRA::Host {

// A file, or standard output, that is written in large pieces. After a failed write nothing more is written. Not
// thread-safe.
class OutputFile {
public:
    static constexpr char STANDARD_OUTPUT[] = "-";

    // Creates or empties the file, or takes standard output for the path "-"; at once, because inside the sandbox a
    // path may lead elsewhere. Returns null with errno set on failure.
    static std::unique_ptr<OutputFile> Create(const std::string& path);

    explicit OutputFile(UniqueFd file) : file_(std::move(file)) {}

    void Write(std::string_view text);

    // Both write what is left and return 0, or the errno of what failed first. The one waits until it is on the disk,
    // the other ends.
    int Sync();
    int Finish();

private:
    void Flush();

    UniqueFd file_;
    std::string pending_;
    int error_ = 0;
};

}  // namespace ZYRA::Host
