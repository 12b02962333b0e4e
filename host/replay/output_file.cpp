// SPDX-License-Identifier: Apache-2.0
#include "host/replay/output_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace ZYRA::Host {

namespace {

constexpr size_t PIECE_SIZE = 1 << 16;
constexpr mode_t FILE_MODE = 0666;

}  // namespace

std::unique_ptr<OutputFile> OutputFile::Create(const std::string& path) {
    UniqueFd file(path == STANDARD_OUTPUT ? fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0)
                                          : open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, FILE_MODE));
    return file.Valid() ? std::make_unique<OutputFile>(std::move(file)) : nullptr;
}

void OutputFile::Write(std::string_view text) {
    pending_ += text;
    if (pending_.size() >= PIECE_SIZE) {
        Flush();
    }
}

int OutputFile::Sync() {
    Flush();
    // Some file systems say only now that a write has failed.
    if (error_ == 0 && fsync(file_.Get()) != 0) {
        error_ = errno;
    }
    return error_;
}

int OutputFile::Finish() {
    Flush();
    file_.Reset();
    return error_;
}

void OutputFile::Flush() {
    size_t written = 0;
    while (error_ == 0 && written < pending_.size()) {
        const ssize_t count = write(file_.Get(), pending_.data() + written, pending_.size() - written);
        if (count >= 0) {
            written += static_cast<size_t>(count);
        } else if (errno != EINTR) {
            error_ = errno;
        }
    }
    pending_.clear();
}

}  // namespace ZYRA::Host
