#include "host/pages/opened_record.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <utility>

#include "host/pages/record_check.h"
#include "host/pages/thread_crew.h"

namespace ZYRA::Host {

namespace {

// More do not make it faster, as measured on two processors with a disk that serves many requests at once.
constexpr size_t THREADS = 8;
// Threads are not worth their start for fewer files each.
constexpr size_t FILES_PER_THREAD = 4;

}  // namespace

OpenedRecord::OpenedRecord(std::shared_ptr<const PageRecord> record, const MachineView& machine)
    : record_(std::move(record)) {
    files_.resize(record_->files.size());
    std::atomic<size_t> next{0};
    const auto openSome = [&] {
        for (size_t index = next++; index < files_.size(); index = next++) {
            Open(files_[index], record_->files[index], machine);
        }
    };
    ThreadCrew crew;
    for (size_t thread = 1; thread < THREADS && (thread - 1) * FILES_PER_THREAD < files_.size(); ++thread) {
        crew.Add(openSome);
    }
    openSome();
    crew.Join();
    const auto look = [this](const RecordedFile& recorded) -> std::optional<FileIdentity> {
        const Place& place = files_[static_cast<size_t>(&recorded - record_->files.data())];
        return place.isUnchanged ? std::optional(recorded.identity) : std::nullopt;
    };
    state_ = CheckRecord(*record_, look).state;
}

void OpenedRecord::Open(Place& place, const RecordedFile& recorded, const MachineView& machine) {
    if (recorded.kind != FileKind::REGULAR) {
        return;
    }
    UniqueFd file;
    struct stat status {};
    const int error = machine.OpenRegular(recorded.path, O_RDONLY | O_NOATIME, file, status);
    if (error == EMFILE || error == ENFILE) {
        hasRoom_ = false;
        place.isUnchanged = true;
    } else if (error == 0 && IdentityOf(status) == recorded.identity) {
        place.isUnchanged = true;
        place.file = std::move(file);
    }
}

}  // namespace ZYRA::Host
