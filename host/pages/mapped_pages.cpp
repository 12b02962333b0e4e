// SPDX-License-Identifier: Apache-2.0
#include "host/pages/mapped_pages.h"

#include <fcntl.h>
#include <sys/stat.h>

#include "host/pages/page_cache.h"
#include "host/pages/page_record.h"
#include "host/runtime/unique_fd.h"

namespace ZYRA::Host {

TouchedPages ResidentPagesOf(const std::vector<MappedFile>& mapped, const MachineView& machine) {
    TouchedPages touched;
    for (const MappedFile& one : mapped) {
        UniqueFd file;
        int64_t bytes = 0;
        // What is no file of a file system has a name that no file can be opened by.
        const int error = machine.OpenWanted(one.path, O_RDONLY, file, [&](const struct stat& status) {
            bytes = status.st_size;
            return S_ISREG(status.st_mode) && status.st_ino == one.inode;
        });
        if (error != 0) {
            continue;
        }
        for (const PageRange& range : ResidentPages(file.Get(), PagesOf(bytes)).Ranges()) {
            touched.Note({0, PageEventKind::ADDED, one.device, one.inode, range.first, range.first + range.count - 1});
        }
    }
    return touched;
}

}  // namespace ZYRA::Host
