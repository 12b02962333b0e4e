#include "host/pages/opened_record.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <atomic>
#include <thread>
#include <utility>

#include "host/pages/record_check.h"

namespace ZYRA::Host {

namespace {

// More do not make it faster, as measured on two processors with a disk that serves many requests at once.
constexpr size_t THREADS = 8;
// Threads are not worth their start for fewer files each.
constexpr size_t FILES_PER_THREAD = 4;

// Opens the file if it is the one that was recorded.
UniqueFd OpenUnchanged(const RecordedFile& recorded, const MachineView& machine) {
    UniqueFd file;
    struct stat status {};
    constexpr int flags = O_RDONLY | O_NOATIME;
    const bool isThere = machine.OpenFile(recorded.path, flags, file) == 0 && fstat(file.Get(), &status) == 0;
    const bool isUnchanged = isThere && KindOf(status) == recorded.kind && IdentityOf(status) == recorded.identity;
    return isUnchanged ? std::move(file) : UniqueFd();
}

}  // namespace

OpenedRecord::OpenedRecord(std::shared_ptr<const PageRecord> record, const MachineView& machine)
    : record_(std::move(record)) {
    files_.resize(record_->files.size());
    std::atomic<size_t> next{0};
    const auto openSome = [&] {
        for (size_t index = next++; index < files_.size(); index = next++) {
            const RecordedFile& recorded = record_->files[index];
            if (recorded.kind == FileKind::REGULAR) {
                files_[index] = OpenUnchanged(recorded, machine);
            }
        }
    };
    std::vector<std::thread> threads;
    while (threads.size() + 1 < THREADS && threads.size() * FILES_PER_THREAD < files_.size()) {
        threads.emplace_back(openSome);
    }
    openSome();
    for (std::thread& thread : threads) {
        thread.join();
    }
    const auto lookAtOpened = [this](const RecordedFile& recorded) -> std::optional<FileIdentity> {
        const auto index = static_cast<size_t>(&recorded - record_->files.data());
        return files_[index].Valid() ? std::optional(recorded.identity) : std::nullopt;
    };
    state_ = CheckRecord(*record_, lookAtOpened).state;
}

}  // namespace ZYRA::Host
