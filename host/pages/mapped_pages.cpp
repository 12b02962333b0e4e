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
        struct stat status {};
        // What is no file of a file system has a name that no file can be opened by.
        if (machine.OpenRegular(one.path, O_RDONLY, file, status) != 0 || status.st_ino != one.inode) {
            continue;
        }
        for (const PageRange& range : ResidentPages(file.Get(), PagesOf(status.st_size)).Ranges()) {
            touched.Note({0, PageEventKind::ADDED, one.device, one.inode, range.first, range.first + range.count - 1});
        }
    }
    return touched;
}

}  // namespace ZYRA::Host
