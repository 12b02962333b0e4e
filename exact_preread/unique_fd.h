#pragma once

#include <unistd.h>

namespace ZYRA::ResourceSchedule {

// Owns a file descriptor.
class UniqueFd {
public:
    explicit UniqueFd(int fd) : fd_(fd) {}
    ~UniqueFd() {
        if (fd_ >= 0) {
            close(fd_);
        }
    }
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;

    int Get() const { return fd_; }
    bool IsValid() const { return fd_ >= 0; }

private:
    int fd_;
};

}  // namespace ZYRA::ResourceSchedule
