// SPDX-License-Identifier: Apache-2.0
#include "host/sandbox/sandbox.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <set>
#include <string>
#include <thread>
#include <vector>

#if defined(__SANITIZE_THREAD__)
#define HAS_RUNTIME_THREAD true
#elif defined(__has_feature)
#define HAS_RUNTIME_THREAD __has_feature(thread_sanitizer)
#else
#define HAS_RUNTIME_THREAD false
#endif

namespace ZYRA::Host {
namespace {

namespace fs = std::filesystem;

constexpr uint64_t GIB = 1ULL << 30;
constexpr int SKIPPED = 77;
constexpr uid_t NOBODY = 65534;
// A sanitizer's own thread keeps every process of this program from a user namespace.
constexpr bool HAS_USER_NAMESPACES = !HAS_RUNTIME_THREAD;
const std::string SERVICE_DIR = "/data/service/el1/public/ressched/";

std::string ReadFile(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

bool WriteFile(const std::string& path, const std::string& text) {
    return bool((std::ofstream(path) << text).flush());
}

std::set<std::string> NamesIn(const std::string& path) {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(path)) {
        names.insert(entry.path().filename());
    }
    return names;
}

uint64_t SizeOf(const char* path) {
    struct statvfs size {};
    return statvfs(path, &size) == 0 ? size.f_blocks * size.f_bsize : 0;
}

// A process is in the sandbox for good, so each entry has a process of its own, which says itself what it missed.
// Nothing of it may show in the process that it came from.
void InChild(const std::function<void()>& body) {
    const std::string mounts = ReadFile("/proc/self/mountinfo");
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        body();
        std::fflush(stdout);
        _exit(::testing::Test::HasFailure() ? 1 : ::testing::Test::IsSkipped() ? SKIPPED : 0);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(ReadFile("/proc/self/mountinfo"), mounts);
    if (WIFEXITED(status) && WEXITSTATUS(status) == SKIPPED) {
        GTEST_SKIP();
    }
    EXPECT_EQ(status, 0);
}

void EnterOrSkip(const SandboxConfig& config) {
    if (const auto refusal = EnterSandbox(config)) {
        GTEST_SKIP() << *refusal;
    }
}

// Runs the body in a process inside a sandbox.
void Inside(const SandboxConfig& config, const std::function<void()>& body) {
    InChild([&] {
        EnterOrSkip(config);
        if (!::testing::Test::IsSkipped()) {
            body();
        }
    });
}

// Whatever the process mounts afterwards, the machine does not see it.
bool HaveOwnMounts() {
    return unshare(CLONE_NEWNS) == 0 && mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

TEST(SandboxTest, FileSystemsAddUpToTheRomSize) {
    for (const uint64_t romBytes : {GIB, 64 * GIB, 128 * GIB, 1024 * GIB}) {
        Inside({romBytes, ""}, [&] {
            EXPECT_EQ(SizeOf("/") + SizeOf("/data"), romBytes);
            EXPECT_TRUE(WriteFile(SERVICE_DIR + "old", "x"));
            EXPECT_EQ(ReplaceOwnData(2 * romBytes), std::nullopt);
            EXPECT_EQ(SizeOf("/") + SizeOf("/data"), 2 * romBytes);
            EXPECT_TRUE(fs::is_empty(SERVICE_DIR));
        });
    }
}

TEST(SandboxTest, DataDirIsSharedAndKept) {
    // The second is hidden by what the sandbox has in its place; both are named against the working directory.
    for (std::string dir : {"/tmp/sandbox-XXXXXX", "/dev/shm/sandbox-XXXXXX"}) {
        ASSERT_NE(mkdtemp(dir.data()), nullptr);
        const fs::path path = dir;
        EXPECT_TRUE(WriteFile(dir + "/before", "1"));
        InChild([&] {
            fs::current_path(path.parent_path());
            EnterOrSkip({GIB, path.filename()});
            EXPECT_EQ(ReadFile("/data/before"), "1");
            EXPECT_TRUE(WriteFile(SERVICE_DIR + "top_scene.db", "2"));
        });
        EXPECT_TRUE(::testing::Test::IsSkipped() || ReadFile(dir + SERVICE_DIR.substr(5) + "top_scene.db") == "2");
        fs::remove_all(path);
    }
}

TEST(SandboxTest, MachineIsThereWithTheDevicesOwnFiles) {
    const fs::path workingDir = fs::current_path();
    std::set<std::string> rootNames = NamesIn("/");
    std::set<std::string> kernelNames = NamesIn("/proc/sys/kernel");
    Inside({GIB, ""}, [&] {
        EXPECT_EQ(fs::current_path(), workingDir);
        rootNames.insert({".iosched", "data"});
        EXPECT_EQ(NamesIn("/"), rootNames);
        EXPECT_EQ(NamesIn("/.iosched"), (std::set<std::string>{"kernel", "sys-kernel"}));
        EXPECT_TRUE(fs::is_empty(KERNEL_MOUNT_POINT));
        EXPECT_TRUE(fs::is_empty("/dev/workingset") && fs::is_empty("/dev/iolimit"));
        EXPECT_TRUE(WriteFile("/dev/null", "x") && WriteFile("/dev/shm/x", "x"));
        const int fuse = open("/dev/fuse", O_RDWR | O_CLOEXEC);
        EXPECT_TRUE(fs::is_character_file("/dev/fd/" + std::to_string(fuse)));
        close(fuse);
        const int terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        char terminalName[32] = "";
        EXPECT_TRUE(grantpt(terminal) == 0 && unlockpt(terminal) == 0);
        EXPECT_TRUE(ptsname_r(terminal, terminalName, sizeof(terminalName)) == 0 && fs::exists(terminalName));
        close(terminal);

        kernelNames.insert("ws_fault_around");
        EXPECT_EQ(NamesIn("/proc/sys/kernel"), kernelNames);
        EXPECT_EQ(ReadFile("/proc/sys/kernel/ostype"), "Linux\n");
        EXPECT_EQ(ReadFile("/proc/sys/kernel/random/uuid").size(), 37u);
        EXPECT_EQ(fs::file_size("/proc/sys/kernel/ws_fault_around"), 0u);
    });
}

TEST(SandboxTest, KernelFilesAreShownAndTakenBackAgainAndAgain) {
    Inside({GIB, ""}, [] {
        const std::string source = KERNEL_MOUNT_POINT;
        for (int round = 0; round < 2; ++round) {
            ASSERT_EQ(mount("test", source.c_str(), "tmpfs", 0, nullptr), 0);
            fs::create_directory(source + "/workingset");
            // (a) With a part of them missing none is shown.
            EXPECT_NE(ExposeKernelFiles().value_or("").find(source + "/iolimit"), std::string::npos);
            EXPECT_EQ(umount2("/dev/workingset", 0), -1);
            // (b) The whole of them is shown where the plugin looks.
            fs::create_directory(source + "/iolimit");
            EXPECT_TRUE(WriteFile(source + "/workingset/file", "1") && WriteFile(source + "/ws_fault_around", "2"));
            EXPECT_EQ(ExposeKernelFiles(), std::nullopt);
            EXPECT_EQ(ReadFile("/dev/workingset/file"), "1");
            EXPECT_TRUE(WriteFile("/dev/iolimit/file", "3"));
            EXPECT_EQ(ReadFile("/proc/sys/kernel/ws_fault_around"), "2");
            // (c) Once they are taken back, nothing holds the file system.
            WithdrawKernelFiles();
            WithdrawKernelFiles();
            EXPECT_TRUE(fs::is_empty("/dev/workingset") && fs::is_empty("/dev/iolimit"));
            EXPECT_EQ(umount2(source.c_str(), 0), 0);
        }
    });
}

TEST(SandboxTest, MountsOfTheMachineAreThereAndNothingSpreadsBack) {
    InChild([] {
        if (!HaveOwnMounts() || mount(nullptr, "/", nullptr, MS_REC | MS_SHARED, nullptr) != 0) {
            GTEST_SKIP() << "only a privileged process can share its mounts";
        }
        ASSERT_EQ(mount("test", "/usr/share", "tmpfs", 0, nullptr), 0);
        EXPECT_TRUE(WriteFile("/usr/share/sign", "x"));
        Inside({GIB, ""}, [] {
            EXPECT_EQ(ReadFile("/usr/share/sign"), "x");
            EXPECT_EQ(mount("test", "/tmp", "tmpfs", 0, nullptr), 0);
        });
    });
}

// Becomes a user without privileges to whom /dev/fuse is open; false where that cannot be arranged.
bool BecomeNobody() {
    return HaveOwnMounts() && mount("test", "/mnt", "tmpfs", 0, nullptr) == 0 &&
           mknod("/mnt/fuse", S_IFCHR | 0600, makedev(10, 229)) == 0 && chmod("/mnt/fuse", 0666) == 0 &&
           mount("/mnt/fuse", "/dev/fuse", nullptr, MS_BIND, nullptr) == 0 && setresgid(NOBODY, NOBODY, NOBODY) == 0 &&
           setresuid(NOBODY, NOBODY, NOBODY) == 0 && prctl(PR_SET_DUMPABLE, 1) == 0;
}

TEST(SandboxTest, UserWithoutPrivilegesEntersThroughAUserNamespace) {
    InChild([] {
        if (!BecomeNobody()) {
            GTEST_SKIP() << "the test starts as root, which may make device nodes";
        }
        const auto inside = [] {
            EXPECT_EQ(geteuid(), NOBODY);
            EXPECT_EQ(getegid(), NOBODY);
            EXPECT_EQ(SizeOf("/") + SizeOf("/data"), GIB);
            EXPECT_TRUE(WriteFile(SERVICE_DIR + "file", "x"));
            EXPECT_EQ(ReadFile("/proc/sys/kernel/ostype"), "Linux\n");
            EXPECT_EQ(mount("test", KERNEL_MOUNT_POINT, "tmpfs", 0, nullptr), 0);
        };
        if (HAS_USER_NAMESPACES) {
            Inside({GIB, ""}, inside);
        }
        InChild([] {
            std::thread([] {
                EXPECT_NE(EnterSandbox({GIB, ""}).value_or("").find("several threads"), std::string::npos);
            }).join();
        });
    });
}

bool ForbidNamespaces() {
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct sets[2] = {};
    if (unshare(CLONE_NEWUSER) != 0 || !WriteFile("/proc/sys/user/max_user_namespaces", "0") ||
        syscall(SYS_capget, &header, sets) != 0) {
        return false;
    }
    sets[0].effective &= ~(1u << CAP_SYS_ADMIN);
    return syscall(SYS_capset, &header, sets) == 0;
}

TEST(SandboxTest, RefusalSaysWhatIsMissingAndHowToAllowIt) {
    struct Row {
        std::function<bool()> prepare;
        SandboxConfig config;
        const char* part;
    };
    std::vector<Row> rows = {
        {[] { return true; }, {3 * GIB, ""}, "power of two"},
        {[] { return true; }, {GIB, "/no/such/folder"}, "/no/such/folder"},
        {[] { return HaveOwnMounts() && mount("test", "/dev", "tmpfs", 0, nullptr) == 0; }, {GIB, ""}, "modprobe fuse"},
    };
    if (HAS_USER_NAMESPACES) {
        rows.push_back({ForbidNamespaces, {GIB, ""}, "sysctl user.max_user_namespaces="});
    }
    for (const Row& row : rows) {
        InChild([&] {
            if (!row.prepare()) {
                GTEST_SKIP() << "this user cannot take away what a sandbox needs";
            }
            const std::string refusal = EnterSandbox(row.config).value_or("");
            EXPECT_NE(refusal.find(row.part), std::string::npos) << refusal;
            EXPECT_EQ(refusal.find('\n'), std::string::npos);
        });
    }
}

}  // namespace
}  // namespace ZYRA::Host
