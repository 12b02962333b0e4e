// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "host/kernel/record_file.h"
#include "host/machine/machine_view.h"
#include "host/pages/page_record.h"
#include "host/runtime/unique_fd.h"

namespace ZYRA::Host {

// A record with its files, open as far as they are what was recorded. Constant after its making.
class OpenedRecord {
public:
    // Opens and compares the files, several at once: what the file systems have to read for that is waited for
    // together, and need not be read any more when the scene's processes open the files.
    OpenedRecord(std::shared_ptr<const PageRecord> record, const MachineView& machine);

    const PageRecord& Record() const { return *record_; }
    // UPTODATE or OLDER.
    RecordState State() const { return state_; }
    // A descriptor open for reading; -1 for what has changed, is gone, or is no regular file, and where there was no
    // room for more descriptors.
    int File(uint32_t index) const { return files_[index].file.Get(); }
    bool HadRoom() const { return hasRoom_; }

private:
    struct Place {
        UniqueFd file;
        bool isUnchanged = false;
        bool hadNoRoom = false;
    };

    void Open(Place& place, const RecordedFile& recorded, const MachineView& machine);
    // Those that there was no room for are compared one after the other, in the room of files that are given up.
    void CompareRest(const MachineView& machine);

    const std::shared_ptr<const PageRecord> record_;
    std::vector<Place> files_;
    bool hasRoom_ = true;
    RecordState state_ = RecordState::OLDER;
};

}  // namespace ZYRA::Host
