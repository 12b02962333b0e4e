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
    // A descriptor open for reading; -1 for what has changed, is gone, or is no regular file.
    int File(uint32_t index) const { return files_[index].Get(); }

private:
    const std::shared_ptr<const PageRecord> record_;
    std::vector<UniqueFd> files_;
    RecordState state_ = RecordState::OLDER;
};

}  // namespace ZYRA::Host
