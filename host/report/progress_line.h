// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <unistd.h>

#include <cstddef>
#include <string>

namespace ZYRA::Host {

// A line on a terminal that tells what is going on, each text in place of the one before. Where there is no terminal
// nothing is written. Other output belongs between Clear and the next Show. Not thread-safe.
class ProgressLine {
public:
    // The descriptor stays the caller's.
    explicit ProgressLine(int fd = STDERR_FILENO) : fd_(fd), isShown_(isatty(fd) == 1) {}
    ~ProgressLine() { Clear(); }
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    // Whether there is a terminal.
    bool IsShown() const { return isShown_; }

    // One line; what is wider than the terminal is cut.
    void Show(const std::string& text);
    void Clear();
    // Other output has left the terminal within a line.
    void EndLine() const;

private:
    size_t Width() const;
    void Write(const std::string& text) const;

    const int fd_;
    const bool isShown_;
    size_t columns_ = 0;  // That are not blank.
};

}  // namespace ZYRA::Host
