// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <unistd.h>

namespace ZYRA::ResourceSchedule {

// Owns a file descriptor.
class UniqueFd {
public:
    explicit UniqueFd(int fd) : fd_(fd) {}
    ~UniqueFd() { Reset(-1); }
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;

    void Reset(int fd) {
        if (fd_ >= 0) {
            close(fd_);
        }
        fd_ = fd;
    }
    int Get() const { return fd_; }
    bool IsValid() const { return fd_ >= 0; }

private:
    int fd_;
};

}  // namespace ZYRA::ResourceSchedule
