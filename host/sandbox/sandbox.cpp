// SPDX-License-Identifier: Apache-2.0
#include "host/sandbox/sandbox.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "host/sandbox/mount_tree.h"
#include "host/sandbox/private_namespace.h"

namespace ZYRA::Host {

namespace {

namespace fs = std::filesystem;

constexpr uint64_t BYTES_PER_GIB = 1ULL << 30;
constexpr uint64_t ROOT_BYTES = 16ULL << 20;
constexpr mode_t DEVICE_UMASK = 022;

// Holds what is the sandbox's own and no device has.
const std::string OWN_DIR = "/.iosched";
const std::string OLD_ROOT = OWN_DIR + "/old";
const std::string REAL_SYS_KERNEL = OWN_DIR + "/sys-kernel";
const std::string SYS_KERNEL = "/proc/sys/kernel";
const std::string FAULT_AROUND_NAME = "ws_fault_around";
const std::string SERVICE_DIR = "/service/el1/public/ressched";

constexpr const char* DEV_ENTRIES[] = {"null", "zero", "full", "random", "urandom", "tty", "fuse"};
constexpr const char* KERNEL_DIRS[] = {"workingset", "iolimit"};

struct Link {
    const char* path;
    const char* content;
};
constexpr Link DEV_LINKS[] = {
    {"/dev/ptmx", "pts/ptmx"},
    // libfuse is handed its mount through this one.
    {"/dev/fd", "/proc/self/fd"},
    {"/dev/stdin", "/proc/self/fd/0"},
    {"/dev/stdout", "/proc/self/fd/1"},
    {"/dev/stderr", "/proc/self/fd/2"},
};

// A kernel file system's part and where the plugin looks for it.
struct Exposure {
    std::string source;
    std::string target;
};
const Exposure EXPOSURES[] = {
    {std::string(KERNEL_MOUNT_POINT) + "/workingset", "/dev/workingset"},
    {std::string(KERNEL_MOUNT_POINT) + "/iolimit", "/dev/iolimit"},
    {KERNEL_MOUNT_POINT + ("/" + FAULT_AROUND_NAME), SYS_KERNEL + "/" + FAULT_AROUND_NAME},
};

class UmaskScope {
public:
    explicit UmaskScope(mode_t mask) : previous_(umask(mask)) {}
    ~UmaskScope() { umask(previous_); }
    UmaskScope(const UmaskScope&) = delete;
    UmaskScope& operator=(const UmaskScope&) = delete;

private:
    const mode_t previous_;
};

// Nothing when the device that the kernel files need can be used.
std::optional<std::string> FuseRefusal() {
    const int fd = open("/dev/fuse", O_RDWR | O_CLOEXEC);
    if (fd >= 0) {
        close(fd);
        return std::nullopt;
    }
    const int error = errno;
    const char* const remedy = error == EACCES || error == EPERM
                                   ? "run as root, or allow it with `chmod 666 /dev/fuse` (in a container: add the "
                                     "device /dev/fuse)"
                                   : "load it with `modprobe fuse` (in a container: add the device /dev/fuse)";
    return "cannot open /dev/fuse: " + std::generic_category().message(error) + "; " + remedy;
}

void MakeServiceDir(const std::string& data) {
    std::error_code error;
    fs::create_directories(data + SERVICE_DIR, error);
    if (error) {
        throw std::system_error(error, "cannot make the directory " + data + SERVICE_DIR);
    }
}

// The folder by its absolute path without links, which leads to it in the old root too.
std::string PrepareDataDir(const std::string& dataDir) {
    std::error_code error;
    std::string path = fs::canonical(dataDir, error);
    if (error) {
        throw std::system_error(error, "cannot use " + dataDir + " as /data");
    }
    MakeServiceDir(path);
    return path;
}

// statvfs(2) counts what a tmpfs was given, so the two sizes add up exactly.
void MountOwnData(uint64_t romBytes) {
    MountTmpfs("/data", MS_NODEV, "mode=755,size=" + std::to_string(romBytes - ROOT_BYTES));
    MakeServiceDir("/data");
}

// Afterwards / is an empty tmpfs and the machine's whole tree is at OLD_ROOT. The new root is mounted over /proc only
// until it is the root; that directory has to exist anyway, and the pivot uncovers it again.
void PivotToNewRoot() {
    const std::string cradle = "/proc";
    MountTmpfs(cradle, MS_NODEV, "mode=755,size=" + std::to_string(ROOT_BYTES));
    MakeDirectory(cradle + OWN_DIR);
    MakeDirectory(cradle + OLD_ROOT);
    if (syscall(SYS_pivot_root, cradle.c_str(), (cradle + OLD_ROOT).c_str()) != 0) {
        ThrowErrno("change the root");
    }
    if (chdir("/") != 0) {
        ThrowErrno("enter the new root");
    }
}

void MirrorMachine() {
    for (const fs::directory_entry& entry : fs::directory_iterator(OLD_ROOT)) {
        const std::string path = "/" + entry.path().filename().string();
        if (path != "/dev" && path != "/data" && path != OWN_DIR) {
            MirrorEntry(OLD_ROOT + path, path);
        }
    }
}

void MakeDev() {
    MakeDirectory("/dev");
    MountTmpfs("/dev", 0, "mode=755,size=1m");
    for (const char* name : DEV_ENTRIES) {
        MirrorEntry(OLD_ROOT + "/dev/" + name, std::string("/dev/") + name);
    }
    for (const Link& link : DEV_LINKS) {
        MakeSymlink(link.content, link.path);
    }
    for (const char* name : KERNEL_DIRS) {
        MakeDirectory(std::string("/dev/") + name);
    }
    MakeDirectory("/dev/shm");
    MountTmpfs("/dev/shm", MS_NODEV, "mode=1777");
    // The machine's own would do for the terminals that are open, but a bound /dev/ptmx opens no new ones.
    MakeDirectory("/dev/pts");
    if (mount("iosched", "/dev/pts", "devpts", MS_NOSUID | MS_NOEXEC, "newinstance,ptmxmode=0666,mode=0620") != 0) {
        ThrowErrno("mount /dev/pts");
    }
}

// Files cannot be added to /proc, so the folder is covered by one with links to the real files.
void MakeSysKernel() {
    // In a sandbox inside a sandbox, links to links of the same name would lead nowhere.
    const bool isNested = fs::exists(OLD_ROOT + REAL_SYS_KERNEL);
    MakeDirectory(REAL_SYS_KERNEL);
    BindTree(OLD_ROOT + (isNested ? REAL_SYS_KERNEL : SYS_KERNEL), REAL_SYS_KERNEL);
    MountTmpfs(SYS_KERNEL, MS_NODEV, "mode=755,size=1m");
    for (const fs::directory_entry& entry : fs::directory_iterator(REAL_SYS_KERNEL)) {
        const fs::path name = entry.path().filename();
        if (name != FAULT_AROUND_NAME) {
            MakeSymlink(entry.path(), fs::path(SYS_KERNEL) / name);
        }
    }
    MakeEmptyFile(SYS_KERNEL + "/" + FAULT_AROUND_NAME);
}

void MakeData(const SandboxConfig& config, const std::string& dataPath) {
    MakeDirectory("/data");
    if (dataPath.empty()) {
        MountOwnData(config.romBytes);
    } else {
        BindTree(OLD_ROOT + dataPath, "/data");
    }
}

void LeaveOldRoot() {
    if (umount2(OLD_ROOT.c_str(), MNT_DETACH) != 0 || rmdir(OLD_ROOT.c_str()) != 0) {
        ThrowErrno("detach the old root");
    }
}

std::optional<std::string> RomSizeRefusal(uint64_t romBytes) {
    if (romBytes < BYTES_PER_GIB || (romBytes & (romBytes - 1)) != 0) {
        return "the ROM size must be a power of two GiB, not " + std::to_string(romBytes) + " bytes";
    }
    return std::nullopt;
}

void Enter(const SandboxConfig& config) {
    std::error_code ignored;
    const std::string workingDir = fs::current_path(ignored);
    const std::string dataPath = config.dataDir.empty() ? "" : PrepareDataDir(config.dataDir);
    try {
        EnterPrivateNamespace();
        PivotToNewRoot();
        MirrorMachine();
        MakeDev();
        MakeSysKernel();
        MakeDirectory(KERNEL_MOUNT_POINT);
        MakeData(config, dataPath);
        LeaveOldRoot();
    } catch (const std::system_error& error) {
        throw std::runtime_error(error.what() + NamespaceAdvice(error.code().value()));
    }
    if (chdir(workingDir.c_str()) != 0 && chdir("/") != 0) {
        ThrowErrno("have a working directory");
    }
}

}  // namespace

std::optional<std::string> EnterSandbox(const SandboxConfig& config) {
    try {
        auto refusal = config.dataDir.empty() ? RomSizeRefusal(config.romBytes) : std::nullopt;
        refusal = refusal ? refusal : FuseRefusal();
        if (!refusal) {
            const UmaskScope scope(DEVICE_UMASK);
            Enter(config);
        }
        return refusal;
    } catch (const std::exception& error) {
        return error.what();
    }
}

std::optional<std::string> ReplaceOwnData(uint64_t romBytes) {
    try {
        if (auto refusal = RomSizeRefusal(romBytes)) {
            return refusal;
        }
        const UmaskScope scope(DEVICE_UMASK);
        if (umount2("/data", MNT_DETACH) != 0) {
            ThrowErrno("detach /data");
        }
        MountOwnData(romBytes);
        return std::nullopt;
    } catch (const std::exception& error) {
        return error.what();
    }
}

std::optional<std::string> ExposeKernelFiles() {
    try {
        for (const Exposure& one : EXPOSURES) {
            BindTree(one.source, one.target);
        }
        return std::nullopt;
    } catch (const std::exception& error) {
        WithdrawKernelFiles();
        return error.what();
    }
}

void WithdrawKernelFiles() {
    for (const Exposure& one : EXPOSURES) {
        umount2(one.target.c_str(), MNT_DETACH | UMOUNT_NOFOLLOW);
    }
}

}  // namespace ZYRA::Host
