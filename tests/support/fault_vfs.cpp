// SPDX-License-Identifier: Apache-2.0
#include "tests/support/fault_vfs.h"

#include <sqlite3.h>

#include <csignal>
#include <functional>
#include <utility>

namespace ZYRA::Host {

namespace {

// SQLite gives room for this and, behind it, for the file of the VFS behind.
struct FaultFile {
    sqlite3_file base;
    sqlite3_file* real;
    const char* path;  // Empty for a temporary file.
};

sqlite3_file* RealFile(sqlite3_file* file) {
    return reinterpret_cast<FaultFile*>(file)->real;
}

const char* Path(sqlite3_file* file) {
    return reinterpret_cast<FaultFile*>(file)->path;
}

const sqlite3_io_methods& Methods(sqlite3_file* file) {
    return *RealFile(file)->pMethods;
}

// The default one before the first fault.
sqlite3_vfs& RealVfs() {
    static sqlite3_vfs& real = *sqlite3_vfs_find(nullptr);
    return real;
}

// Does the call, unless a fault strikes it.
int Do(FileCall kind, int error, const std::function<int()>& call, const std::function<int()>& half = nullptr) {
    const std::optional<FileFault> fault = FaultVfs::Install().Count(kind);
    if (!fault.has_value()) {
        return call();
    }
    switch (*fault) {
        case FileFault::FAILS:
            return error;
        case FileFault::FAILS_AS_FULL:
            return SQLITE_FULL;
        case FileFault::FAILS_DONE:
            call();
            return error;
        case FileFault::KILLS:
            break;
        case FileFault::KILLS_HALFWAY:
            half();
            break;
    }
    raise(SIGKILL);
    return error;
}

int Close(sqlite3_file* file) {
    return Methods(file).xClose(RealFile(file));
}

int Read(sqlite3_file* file, void* data, int size, sqlite3_int64 offset) {
    return Do(FILE_READ, SQLITE_IOERR_READ, [&] { return Methods(file).xRead(RealFile(file), data, size, offset); });
}

int Write(sqlite3_file* file, const void* data, int size, sqlite3_int64 offset) {
    const FileChange change = {FileChange::WRITTEN, Path(file), static_cast<uint64_t>(offset),
                               std::string(static_cast<const char*>(data), static_cast<size_t>(size))};
    return Do(
        FILE_WRITE, SQLITE_IOERR_WRITE,
        [&] { return FaultVfs::Install().Note(Methods(file).xWrite(RealFile(file), data, size, offset), change); },
        [&] { return Methods(file).xWrite(RealFile(file), data, size / 2, offset); });
}

int Truncate(sqlite3_file* file, sqlite3_int64 size) {
    return Do(FILE_TRUNCATE, SQLITE_IOERR_TRUNCATE, [&] {
        return FaultVfs::Install().Note(Methods(file).xTruncate(RealFile(file), size),
                                        {FileChange::TRUNCATED, Path(file)});
    });
}

int Sync(sqlite3_file* file, int flags) {
    return Do(FILE_SYNC, SQLITE_IOERR_FSYNC, [&] {
        return FaultVfs::Install().Note(Methods(file).xSync(RealFile(file), flags), {FileChange::SYNCED, Path(file)});
    });
}

int FileSize(sqlite3_file* file, sqlite3_int64* size) {
    return Do(FILE_SIZE, SQLITE_IOERR_FSTAT, [&] { return Methods(file).xFileSize(RealFile(file), size); });
}

int Lock(sqlite3_file* file, int level) {
    return Do(FILE_LOCK, SQLITE_BUSY, [&] { return Methods(file).xLock(RealFile(file), level); });
}

int Unlock(sqlite3_file* file, int level) {
    return Do(FILE_UNLOCK, SQLITE_IOERR_UNLOCK, [&] { return Methods(file).xUnlock(RealFile(file), level); });
}

int CheckReservedLock(sqlite3_file* file, int* result) {
    return Do(FILE_CHECK_RESERVED_LOCK, SQLITE_IOERR_CHECKRESERVEDLOCK,
              [&] { return Methods(file).xCheckReservedLock(RealFile(file), result); });
}

int FileControl(sqlite3_file* file, int operation, void* arg) {
    return Methods(file).xFileControl(RealFile(file), operation, arg);
}

int SectorSize(sqlite3_file* file) {
    return Methods(file).xSectorSize(RealFile(file));
}

int DeviceCharacteristics(sqlite3_file* file) {
    return Methods(file).xDeviceCharacteristics(RealFile(file));
}

// Version 1 ends before shared memory and mapped files.
const sqlite3_io_methods METHODS = {1,
                                    Close,
                                    Read,
                                    Write,
                                    Truncate,
                                    Sync,
                                    FileSize,
                                    Lock,
                                    Unlock,
                                    CheckReservedLock,
                                    FileControl,
                                    SectorSize,
                                    DeviceCharacteristics,
                                    nullptr,
                                    nullptr,
                                    nullptr,
                                    nullptr,
                                    nullptr,
                                    nullptr};

int Open(sqlite3_vfs* /*vfs*/, const char* name, sqlite3_file* file, int flags, int* outFlags) {
    auto* const opened = reinterpret_cast<FaultFile*>(file);
    // Without methods, SQLite closes nothing.
    opened->base.pMethods = nullptr;
    opened->real = reinterpret_cast<sqlite3_file*>(opened + 1);
    opened->real->pMethods = nullptr;
    opened->path = name != nullptr ? name : "";
    const int result = Do(FILE_OPEN, SQLITE_CANTOPEN,
                          [&] { return RealVfs().xOpen(&RealVfs(), name, opened->real, flags, outFlags); });
    if (result == SQLITE_OK) {
        opened->base.pMethods = &METHODS;
        FaultVfs::Install().Note(result, {FileChange::OPENED, opened->path});
    } else if (opened->real->pMethods != nullptr) {
        Close(file);
    }
    return result;
}

int Delete(sqlite3_vfs* /*vfs*/, const char* name, int syncFolder) {
    return Do(FILE_DELETE, SQLITE_IOERR_DELETE, [&] {
        return FaultVfs::Install().Note(RealVfs().xDelete(&RealVfs(), name, syncFolder), {FileChange::DELETED, name});
    });
}

int Access(sqlite3_vfs* /*vfs*/, const char* name, int flags, int* result) {
    return Do(FILE_ACCESS, SQLITE_IOERR_ACCESS, [&] { return RealVfs().xAccess(&RealVfs(), name, flags, result); });
}

// The VFS behind opens a folder only to sync it.
int (*openFolder)(const char* folder, int* fd);

int OpenFolder(const char* folder, int* fd) {
    return FaultVfs::Install().Note(openFolder(folder, fd), {FileChange::FOLDER_SYNCED});
}

sqlite3_vfs NewVfs() {
    openFolder = reinterpret_cast<decltype(openFolder)>(RealVfs().xGetSystemCall(&RealVfs(), "openDirectory"));
    RealVfs().xSetSystemCall(&RealVfs(), "openDirectory", reinterpret_cast<sqlite3_syscall_ptr>(OpenFolder));

    sqlite3_vfs vfs = {};
    vfs.iVersion = 1;
    vfs.szOsFile = static_cast<int>(sizeof(FaultFile)) + RealVfs().szOsFile;
    vfs.mxPathname = RealVfs().mxPathname;
    vfs.zName = "fault";
    vfs.xOpen = Open;
    vfs.xDelete = Delete;
    vfs.xAccess = Access;
    vfs.xFullPathname = [](sqlite3_vfs*, const char* name, int size, char* path) {
        return RealVfs().xFullPathname(&RealVfs(), name, size, path);
    };
    vfs.xRandomness = [](sqlite3_vfs*, int size, char* bytes) {
        return RealVfs().xRandomness(&RealVfs(), size, bytes);
    };
    vfs.xSleep = [](sqlite3_vfs*, int us) { return RealVfs().xSleep(&RealVfs(), us); };
    vfs.xCurrentTime = [](sqlite3_vfs*, double* time) { return RealVfs().xCurrentTime(&RealVfs(), time); };
    vfs.xGetLastError = [](sqlite3_vfs*, int size, char* text) {
        return RealVfs().xGetLastError(&RealVfs(), size, text);
    };
    return vfs;
}

}  // namespace

FaultVfs& FaultVfs::Install() {
    static FaultVfs vfs;
    static sqlite3_vfs registered = NewVfs();
    static const int result = sqlite3_vfs_register(&registered, 1);
    static_cast<void>(result);
    return vfs;
}

const char* FaultVfs::RealName() {
    return RealVfs().zName;
}

void FaultVfs::Arm(const FaultPlan& plan) {
    plan_ = plan;
    calls_ = 0;
    isArmed_ = true;
}

bool FaultVfs::Disarm() {
    isArmed_ = false;
    return calls_ >= plan_.first;
}

int FaultVfs::Note(int result, FileChange change) {
    const bool isTemporary = change.path.empty() && change.kind != FileChange::FOLDER_SYNCED;
    if (trace_ != nullptr && result == SQLITE_OK && !isTemporary) {
        trace_->push_back(std::move(change));
    }
    return result;
}

std::optional<FileFault> FaultVfs::Count(FileCall call) {
    if (!isArmed_ || (plan_.calls & call) == 0) {
        return std::nullopt;
    }
    ++calls_;
    const bool isStruck = plan_.isLasting ? calls_ >= plan_.first : calls_ == plan_.first;
    return isStruck ? std::optional(plan_.fault) : std::nullopt;
}

}  // namespace ZYRA::Host
