// SPDX-License-Identifier: Apache-2.0
#include "host/launch/background_readers.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <new>

#include "host/runtime/retry_on_eintr.h"

namespace ZYRA::Host {

namespace {

constexpr size_t BLOCK_BYTES = 128 << 10;
constexpr mode_t FILE_MODE = 0600;

// What a reader tells: that it begins to read, or the step that failed.
enum class ReaderStep : int32_t { READING, MACHINE, MAKE, IN_MEMORY, FILL };

std::string FailureText(const std::optional<ChildReport::Message>& message, const std::string& folder) {
    const std::string reason = message ? std::string(": ") + std::strerror(message->error) : "";
    switch (message ? static_cast<ReaderStep>(message->step) : ReaderStep::READING) {
        case ReaderStep::READING:
            break;
        case ReaderStep::MACHINE:
            return "a background reader cannot return to the machine from the sandbox" + reason + "; run as root";
        case ReaderStep::MAKE:
            return "cannot make a background reader's file in " + folder + reason;
        case ReaderStep::IN_MEMORY:
            return "a background reader's file in " + folder + " would be in memory; name a folder on a disk";
        case ReaderStep::FILL:
            return "cannot write a background reader's file in " + folder + reason + "; make room, or read less";
    }
    return "a background reader ended before it read";
}

// Data that no file system makes smaller, different from each start.
class Noise {
public:
    explicit Noise(uint64_t seed) : state_(seed) {}

    void Fill(std::vector<uint64_t>& block) {
        for (uint64_t& word : block) {
            state_ += 0x9E3779B97F4A7C15;
            uint64_t mixed = (state_ ^ (state_ >> 30)) * 0xBF58476D1CE4E5B9;
            mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EB;
            word = mixed ^ (mixed >> 31);
        }
    }

private:
    uint64_t state_;
};

// All descriptors but two. A process that executes nothing would otherwise keep open what the host closes.
void CloseAllBut(int one, int other) {
    const auto close = [](unsigned first, unsigned last) {
        if (first <= last) {
            syscall(SYS_close_range, first, last, 0);
        }
    };
    const auto low = static_cast<unsigned>(std::min(one, other));
    const auto high = static_cast<unsigned>(std::max(one, other));
    if (low > 0) {
        close(0, low - 1);
    }
    close(low + 1, high - 1);
    close(high + 1, UINT_MAX);
}

// The child's side; every call is async-signal-safe, and nothing allocates.
struct ReaderSide {
    const BackgroundReadersConfig& config;
    const std::function<bool()>& enterMachine;
    const ChildReport& report;
    const std::string& name;  // For a file system that knows no files without a name.
    std::atomic<uint64_t>& bytesRead;
    std::vector<uint64_t>& block;
    uint64_t seed;

    // Returns the exit status of a reader that could not go on.
    int Run() const {
        errno = 0;
        if (!enterMachine()) {
            return Failed(ReaderStep::MACHINE);
        }
        prctl(PR_SET_NAME, "iosched-reader");
        const int file = MakeFile();
        if (file < 0) {
            return Failed(ReaderStep::MAKE);
        }
        CloseAllBut(file, report.ChildEnd());
        struct statfs system = {};
        if (fstatfs(file, &system) == 0 && (system.f_type == TMPFS_MAGIC || system.f_type == RAMFS_MAGIC)) {
            return Failed(ReaderStep::IN_MEMORY);
        }
        if (!Fill(file)) {
            return Failed(ReaderStep::FILL);
        }
        report.Tell(static_cast<int32_t>(ReaderStep::READING), 0);
        while (ReadOnce(file)) {
        }
        return EXIT_FAILURE;
    }

    int Failed(ReaderStep step) const {
        report.Tell(static_cast<int32_t>(step), errno);
        return EXIT_FAILURE;
    }

    int MakeFile() const {
        int file = RetryOnEintr([&] { return open(config.folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, FILE_MODE); });
        if (file < 0 && (errno == EOPNOTSUPP || errno == EISDIR)) {
            file = RetryOnEintr([&] { return open(name.c_str(), O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, FILE_MODE); });
            if (file >= 0) {
                unlink(name.c_str());
            }
        }
        return file;
    }

    // Only what is on the disk can be dropped from memory.
    bool Fill(int file) const {
        Noise noise(seed);
        for (uint64_t written = 0; written < config.fileBytes;) {
            noise.Fill(block);
            const size_t size = std::min<uint64_t>(BLOCK_BYTES, config.fileBytes - written);
            const ssize_t done = RetryOnEintr([&] { return write(file, block.data(), size); });
            if (done < 0) {
                return false;
            }
            written += static_cast<uint64_t>(done);
        }
        return fdatasync(file) == 0 && posix_fadvise(file, 0, 0, POSIX_FADV_DONTNEED) == 0;
    }

    bool ReadOnce(int file) const {
        off_t position = 0;
        for (;;) {
            const ssize_t size = RetryOnEintr([&] { return pread(file, block.data(), BLOCK_BYTES, position); });
            if (size <= 0) {
                // What was read ahead as well.
                posix_fadvise(file, 0, 0, POSIX_FADV_DONTNEED);
                return size == 0 && position > 0;
            }
            bytesRead.fetch_add(static_cast<uint64_t>(size), std::memory_order_relaxed);
            position += size;
            // From the file's begin: a large folio is dropped only by a range that holds all of it.
            posix_fadvise(file, 0, position, POSIX_FADV_DONTNEED);
        }
    }
};

}  // namespace

std::unique_ptr<BackgroundReaders> BackgroundReaders::Start(const BackgroundReadersConfig& config,
                                                            const std::function<bool()>& enterMachine,
                                                            std::string& error) {
    std::unique_ptr<BackgroundReaders> readers(new BackgroundReaders);
    void* memory = mmap(nullptr, sizeof(Counter), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        error = std::string("cannot share memory with background readers: ") + std::strerror(errno);
        return nullptr;
    }
    readers->bytesRead_ = new (memory) Counter(0);
    std::vector<uint64_t> block(BLOCK_BYTES / sizeof(uint64_t));
    std::vector<ChildReport> reports(config.count);
    const auto seed = static_cast<uint64_t>(MonotonicUs());
    for (ChildReport& report : reports) {
        const size_t index = readers->readers_.size();
        const std::string name =
            config.folder + "/iosched-reader-" + std::to_string(getpid()) + '-' + std::to_string(index);
        const ReaderSide side = {config, enterMachine, report, name, *readers->bytesRead_, block, seed * (index + 1)};
        auto reader = report.Open() ? ChildProcess::Fork([&side] { return side.Run(); }) : nullptr;
        if (reader == nullptr) {
            error = std::string("cannot make a background reader: ") + std::strerror(errno);
            return nullptr;
        }
        readers->readers_.push_back(std::move(reader));
    }
    for (ChildReport& report : reports) {
        const auto message = report.Next();
        if (!message || static_cast<ReaderStep>(message->step) != ReaderStep::READING) {
            error = FailureText(message, config.folder);
            return nullptr;
        }
    }
    return readers;
}

BackgroundReaders::~BackgroundReaders() {
    for (const auto& reader : readers_) {
        reader->Signal(SIGKILL);
    }
    readers_.clear();
    if (bytesRead_ != nullptr) {
        munmap(bytesRead_, sizeof(Counter));
    }
}

std::vector<pid_t> BackgroundReaders::Pids() const {
    std::vector<pid_t> pids;
    pids.reserve(readers_.size());
    for (const auto& reader : readers_) {
        pids.push_back(reader->Pid());
    }
    return pids;
}

void BackgroundReaders::Pause() {
    for (const auto& reader : readers_) {
        reader->Signal(SIGSTOP);
    }
    for (const auto& reader : readers_) {
        reader->Stop();
    }
}

void BackgroundReaders::Resume() {
    for (const auto& reader : readers_) {
        reader->Signal(SIGCONT);
    }
}

}  // namespace ZYRA::Host
