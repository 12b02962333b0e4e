// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ZYRA::Host {

// The calls of SQLite to the file system that can fail, as bits.
enum FileCall : uint32_t {
    FILE_OPEN = 1U << 0,
    FILE_DELETE = 1U << 1,
    FILE_ACCESS = 1U << 2,
    FILE_READ = 1U << 3,
    FILE_WRITE = 1U << 4,
    FILE_TRUNCATE = 1U << 5,
    FILE_SYNC = 1U << 6,
    FILE_SIZE = 1U << 7,
    FILE_LOCK = 1U << 8,
    FILE_UNLOCK = 1U << 9,
    FILE_CHECK_RESERVED_LOCK = 1U << 10,
    FILE_CALLS = (1U << 11) - 1,
};

enum class FileFault {
    FAILS,          // Is not done, and gives the error of its kind; a lock gives "busy".
    FAILS_AS_FULL,  // Is not done, and gives "full".
    FAILS_DONE,     // Is done, and gives the error all the same.
    KILLS,          // Is not done: the process is killed by SIGKILL.
    KILLS_HALFWAY,  // The same, after the first half of a write has been done.
};

struct FaultPlan {
    FileFault fault = FileFault::FAILS;
    uint32_t calls = FILE_CALLS;  // The kinds that count.
    uint64_t first = 1;           // The number of the first call, from 1, that the fault strikes.
    bool isLasting = false;       // Whether it strikes every later call as well.
};

struct FileChange {
    enum { OPENED, WRITTEN, TRUNCATED, SYNCED, DELETED, FOLDER_SYNCED } kind;
    std::string path = {};  // Of a file.
    uint64_t offset = 0;
    std::string bytes = {};
};

// A SQLite VFS in front of the default one, and from then on the default itself: it hands every call on, counts those
// that can fail, and lets a fault strike some of them. It offers neither shared memory nor mapped files, so that all
// access goes through the calls above. Process-wide; one thread.
class FaultVfs {
public:
    // Registers it, once; it stays.
    static FaultVfs& Install();

    FaultVfs(const FaultVfs&) = delete;
    FaultVfs& operator=(const FaultVfs&) = delete;

    void Arm(const FaultPlan& plan);
    // Ends the plan. Returns whether the fault has struck.
    bool Disarm();

    // From now on adds what has been done, but for truncations: in its default mode SQLite makes none. Null ends that.
    void Record(std::vector<FileChange>* trace) { trace_ = trace; }

    // The name of the VFS behind it.
    static const char* RealName();

    // For the VFS: counts a call, and gives the fault that strikes it, if any.
    std::optional<FileFault> Count(FileCall call);
    // For the VFS: records the change if the result is that of success. Temporary files are left out.
    int Note(int result, FileChange change);

private:
    FaultVfs() = default;

    bool isArmed_ = false;
    FaultPlan plan_;
    uint64_t calls_ = 0;
    std::vector<FileChange>* trace_ = nullptr;
};

}  // namespace ZYRA::Host
