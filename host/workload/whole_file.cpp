#include "host/workload/whole_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

namespace ZYRA::Host {

namespace {

constexpr size_t PIECE_SIZE = 1 << 16;
constexpr mode_t FILE_MODE = 0666;

}  // namespace

WholeFile::WholeFile(std::string path)
    : path_(std::move(path)), temporaryPath_(path_ + '.' + std::to_string(getpid()) + ".part") {
    // To rename a file over a device node or a pipe would take it away without a word.
    struct stat status {};
    if (stat(path_.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
        Fail("is not a regular file");
        return;
    }
    file_.Reset(open(temporaryPath_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, FILE_MODE));
    leavesFile_ = file_.Valid();
    if (!leavesFile_) {
        FailWithErrno();
    }
}

WholeFile::~WholeFile() {
    if (leavesFile_) {
        unlink(temporaryPath_.c_str());
    }
}

void WholeFile::Write(std::string_view text) {
    pending_ += text;
    if (pending_.size() >= PIECE_SIZE) {
        Flush();
    }
}

bool WholeFile::Finish() {
    Flush();
    // Some file systems say only now that a write has failed.
    if (failure_.empty() && fsync(file_.Get()) != 0) {
        FailWithErrno();
    }
    file_.Reset();
    return failure_.empty();
}

bool WholeFile::Publish() {
    if (std::rename(temporaryPath_.c_str(), path_.c_str()) != 0) {
        FailWithErrno();
        return false;
    }
    leavesFile_ = false;
    return true;
}

void WholeFile::Flush() {
    size_t written = 0;
    while (failure_.empty() && written < pending_.size()) {
        const ssize_t count = write(file_.Get(), pending_.data() + written, pending_.size() - written);
        if (count >= 0) {
            written += static_cast<size_t>(count);
        } else if (errno != EINTR) {
            FailWithErrno();
        }
    }
    pending_.clear();
}

void WholeFile::FailWithErrno() {
    Fail(std::strerror(errno));
}

}  // namespace ZYRA::Host
