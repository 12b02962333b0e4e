// SPDX-License-Identifier: Apache-2.0
#include "host/workload/whole_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include "host/runtime/unique_fd.h"

namespace ZYRA::Host {

namespace {

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
    UniqueFd file(open(temporaryPath_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, FILE_MODE));
    if (!file.Valid()) {
        Fail(std::strerror(errno));
        return;
    }
    leavesFile_ = true;
    file_.emplace(std::move(file));
}

WholeFile::~WholeFile() {
    if (leavesFile_) {
        unlink(temporaryPath_.c_str());
    }
}

void WholeFile::Write(std::string_view text) {
    if (file_) {
        file_->Write(text);
    }
}

bool WholeFile::Finish() {
    if (file_) {
        if (const int error = file_->Sync(); error != 0) {
            Fail(std::strerror(error));
        }
        file_.reset();
    }
    return failure_.empty();
}

bool WholeFile::Publish() {
    if (std::rename(temporaryPath_.c_str(), path_.c_str()) != 0) {
        Fail(std::strerror(errno));
        return false;
    }
    leavesFile_ = false;
    return true;
}

}  // namespace ZYRA::Host
