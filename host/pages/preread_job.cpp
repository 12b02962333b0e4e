// SPDX-License-Identifier: Apache-2.0
#include "host/pages/preread_job.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <deque>
#include <vector>

#include "host/pages/page_cache.h"
#include "host/pages/preread_plan.h"
#include "host/pages/record_check.h"
#include "host/pages/thread_crew.h"
#include "host/runtime/retry_on_eintr.h"

namespace ZYRA::Host {

namespace {

// Two keep a fast disk busy while one of them waits for a file system's own blocks; more get in the way of the order.
constexpr int READERS = 2;
constexpr int LOOKERS = 2;
// So much is on its way for each reader and not more, so that what the processes themselves ask for meanwhile, folders
// and inodes first of all, does not wait behind all of the record: many disks' queues are sorted by place.
constexpr uint64_t WINDOW_BYTES = uint64_t{512} << 10;
// A folder of more bytes is not read through: one looks up a name in it by a few blocks.
constexpr off_t LARGEST_FOLDER = off_t{1} << 20;
// Of the memory so much is left to others; and what is available counts the page cache, of which no more than half is
// to be given for one scene.
constexpr uint64_t SPARED_PART = 20;
// How many pieces are asked for between two looks at the memory.
constexpr size_t PIECES_BETWEEN_LOOKS = 32;

class Job {
public:
    Job(const OpenedRecord& record, const MachineView& machine, const std::string& meminfo)
        : record_(record),
          machine_(machine),
          meminfo_(meminfo),
          availableAtFirst_(ReadMemoryState(meminfo).available),
          pieces_(PlanPreread(record.Record())) {}

    PrereadResult Run() {
        ThreadCrew crew;
        for (int looker = 0; looker < LOOKERS; ++looker) {
            crew.Add([this] { LookAround(); });
        }
        for (int reader = 1; reader < READERS; ++reader) {
            crew.Add([this] { ReadPieces(); });
        }
        ReadPieces();
        crew.Join();
        return Result();
    }

private:
    struct Piece {
        RecordedRange range;
        uint64_t presentPages;  // When it was asked for.
        uint64_t Bytes() const { return range.pages.count * BYTES_PER_PAGE; }
    };
    // What a reader has asked for and not seen arrive.
    struct Flight {
        std::deque<Piece> pieces;
        uint64_t bytes = 0;
    };

    void ReadPieces() {
        Flight flight;
        for (size_t index = nextPiece_++; index < pieces_.size() && !isShort_; index = nextPiece_++) {
            if (index % PIECES_BETWEEN_LOOKS == 0 && IsMemoryShort()) {
                isShort_ = true;
                break;
            }
            ReadPiece(pieces_[index], flight);
            while (flight.bytes > WINDOW_BYTES) {
                AwaitOldest(flight);
            }
        }
        while (!flight.pieces.empty()) {
            AwaitOldest(flight);
        }
    }

    // To read of the last page waits for it.
    void AwaitOldest(Flight& flight) {
        const Piece oldest = flight.pieces.front();
        flight.pieces.pop_front();
        flight.bytes -= oldest.Bytes();
        const int file = record_.File(oldest.range.file);
        const PageRange& pages = oldest.range.pages;
        const auto lastPage = static_cast<off_t>((pages.first + pages.count - 1) * BYTES_PER_PAGE);
        char byte = 0;
        if (RetryOnEintr([&] { return pread(file, &byte, 1, lastPage); }) != 1) {
            hasFailed_ = true;
        }
        // Less where the kernel has read less than it was asked for, or has dropped some of it again.
        const uint64_t arrived = CountResident(file, pages);
        bytes_ += (arrived - std::min(arrived, oldest.presentPages)) * BYTES_PER_PAGE;
    }

    void ReadPiece(const RecordedRange& range, Flight& flight) {
        const int file = record_.File(range.file);
        if (file < 0) {
            return;
        }
        const Piece piece{range, CountResident(file, range.pages)};
        if (piece.presentPages == range.pages.count) {
            return;
        }
        if (!StartReading(file, range.pages)) {
            hasFailed_ = true;
            return;
        }
        flight.bytes += piece.Bytes();
        flight.pieces.push_back(piece);
    }

    bool IsMemoryShort() const {
        const MemoryState memory = ReadMemoryState(meminfo_);
        return memory.available < memory.total / SPARED_PART || bytes_ > availableAtFirst_ / 2;
    }

    // Has what is on the way to the files, and was read from the disk for that, in memory again.
    void LookAround() {
        const std::vector<RecordedFile>& files = record_.Record().files;
        for (size_t index = nextLook_++; index < files.size() && !isShort_; index = nextLook_++) {
            const RecordedFile& recorded = files[index];
            UniqueFd file;
            switch (recorded.kind) {
                case FileKind::REGULAR:
                    break;  // Has been opened to be compared.
                case FileKind::LINK:
                    machine_.OpenFile(recorded.path, O_PATH, file);
                    break;
                case FileKind::FOLDER: {
                    const int error = machine_.OpenWanted(
                        recorded.path, O_RDONLY | O_DIRECTORY, file, [&](const struct stat& status) {
                            return IsAsRecorded(status, recorded) && status.st_size <= LARGEST_FOLDER;
                        });
                    if (error == 0) {
                        ReadFolder(file.Get());
                    }
                    break;
                }
            }
        }
    }

    static void ReadFolder(int folder) {
        std::array<char, 32768> entries;
        while (syscall(SYS_getdents64, folder, entries.data(), entries.size()) > 0) {
        }
    }

    PrereadResult Result() const {
        if (isShort_) {
            return {bytes_, PrereadResult::NO_PAGE};
        }
        return {bytes_, hasFailed_ ? PrereadResult::NO_READ : ""};
    }

    const OpenedRecord& record_;
    const MachineView& machine_;
    const std::string& meminfo_;
    const uint64_t availableAtFirst_;
    const std::vector<RecordedRange> pieces_;
    std::atomic<size_t> nextPiece_{0};
    std::atomic<size_t> nextLook_{0};
    std::atomic<bool> isShort_{false};
    std::atomic<uint64_t> bytes_{0};
    std::atomic<bool> hasFailed_{false};
};

}  // namespace

PrereadResult ReadRecordedPages(const OpenedRecord& record, const MachineView& machine, const std::string& meminfo) {
    return Job(record, machine, meminfo).Run();
}

}  // namespace ZYRA::Host
