#include "host/replay/journal_writer.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace ZYRA::Host {

namespace {

constexpr size_t PIECE_SIZE = 1 << 16;
constexpr mode_t FILE_MODE = 0666;

}  // namespace

std::unique_ptr<JournalWriter> JournalWriter::On(UniqueFd file) {
    return file.Valid() ? std::unique_ptr<JournalWriter>(new JournalWriter(std::move(file))) : nullptr;
}

std::unique_ptr<JournalWriter> JournalWriter::Create(const std::string& path) {
    return On(UniqueFd(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, FILE_MODE)));
}

std::unique_ptr<JournalWriter> JournalWriter::OnStandardOutput() {
    return On(UniqueFd(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0)));
}

void JournalWriter::OnEntry(const JournalEntry& entry) {
    pending_ += ToJsonLine(entry);
    pending_ += '\n';
    if (pending_.size() >= PIECE_SIZE) {
        Flush();
    }
}

int JournalWriter::Finish() {
    Flush();
    file_.Reset();
    return error_;
}

void JournalWriter::Flush() {
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
