// SPDX-License-Identifier: Apache-2.0
#include "host/pages/opened_record.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
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
// One for the place, one for the file.
constexpr size_t DESCRIPTORS_TO_COMPARE = 2;

int OpenAsRecorded(const RecordedFile& recorded, const MachineView& machine, UniqueFd& file) {
    return machine.OpenWanted(recorded.path, O_RDONLY | O_NOATIME, file,
                              [&](const struct stat& status) { return IsAsRecorded(status, recorded); });
}

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
    CompareRest(machine);
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
    const int error = OpenAsRecorded(recorded, machine, place.file);
    place.isUnchanged = error == 0;
    place.hadNoRoom = error == EMFILE || error == ENFILE;
}

void OpenedRecord::CompareRest(const MachineView& machine) {
    const auto hadNoRoom = [](const Place& place) { return place.hadNoRoom; };
    hasRoom_ = std::none_of(files_.begin(), files_.end(), hadNoRoom);
    if (hasRoom_) {
        return;
    }
    size_t given = 0;
    for (auto place = files_.rbegin(); place != files_.rend() && given < DESCRIPTORS_TO_COMPARE; ++place) {
        given += place->file.Valid() ? 1 : 0;
        place->file.Reset();
    }
    for (Place& place : files_) {
        if (place.hadNoRoom) {
            UniqueFd file;
            const RecordedFile& recorded = record_->files[static_cast<size_t>(&place - files_.data())];
            place.isUnchanged = OpenAsRecorded(recorded, machine, file) == 0;
        }
    }
}

}  // namespace ZYRA::Host
