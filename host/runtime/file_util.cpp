// SPDX-License-Identifier: Apache-2.0
#include "platform/file_util.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>

namespace ZYRA {

namespace {

constexpr size_t READ_CHUNK_SIZE = 4096;

int OpenRetrying(const std::string& path, int flags) {
    int fd = -1;
    do {
        fd = open(path.c_str(), flags | O_CLOEXEC);
    } while (fd < 0 && errno == EINTR);
    return fd;
}

// Owns a descriptor and leaves errno alone when it closes it.
class ScopedFd {
public:
    explicit ScopedFd(int fd) : fd_(fd) {}
    ~ScopedFd() {
        if (fd_ >= 0) {
            const int error = errno;
            close(fd_);
            errno = error;
        }
    }
    ScopedFd(const ScopedFd&) = delete;
    ScopedFd& operator=(const ScopedFd&) = delete;

    int Get() const { return fd_; }

private:
    int fd_;
};

}  // namespace

bool LoadStringFromFile(const std::string& path, std::string& content) {
    content.clear();
    const ScopedFd fd(OpenRetrying(path, O_RDONLY));
    if (fd.Get() < 0) {
        return false;
    }
    char chunk[READ_CHUNK_SIZE];
    while (true) {
        const ssize_t length = read(fd.Get(), chunk, sizeof(chunk));
        if (length > 0) {
            content.append(chunk, static_cast<size_t>(length));
        } else if (length == 0) {
            return true;
        } else if (errno != EINTR) {
            return false;
        }
    }
}

bool SaveStringToFd(int fd, const std::string& content) {
    ssize_t length = -1;
    do {
        length = write(fd, content.data(), content.size());
    } while (length < 0 && errno == EINTR);
    if (length >= 0 && static_cast<size_t>(length) != content.size()) {
        errno = EIO;
        return false;
    }
    return length >= 0;
}

bool SaveStringToFile(const std::string& path, const std::string& content, bool truncated) {
    const ScopedFd fd(OpenRetrying(path, O_WRONLY | (truncated ? O_TRUNC : 0)));
    return fd.Get() >= 0 && SaveStringToFd(fd.Get(), content);
}

bool PathToRealPath(const std::string& path, std::string& realPath) {
    char resolved[PATH_MAX];
    if (realpath(path.c_str(), resolved) == nullptr) {
        return false;
    }
    realPath = resolved;
    return true;
}

}  // namespace ZYRA
