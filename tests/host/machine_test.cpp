// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <sstream>
#include <thread>

#include "host/kernel/iolimit_model.h"
#include "host/launch/group_limiter.h"
#include "host/machine/io_groups.h"
#include "host/machine/machine_view.h"
#include "host/sandbox/sandbox.h"
#include "platform/file_util.h"

namespace ZYRA::Host {
namespace {

namespace fs = std::filesystem;

void Write(const std::string& path, const std::string& text) {
    fs::create_directories(fs::path(path).parent_path());
    EXPECT_TRUE((std::ofstream(path) << text).flush());
}

std::string Read(const std::string& path) {
    std::string content;
    return LoadStringFromFile(path, content) ? content : "-";
}

// Ordinary files do as settings (a, b and c), and ordinary folders as groups that have no members (g and its own).
class MachineTest : public ::testing::Test {
protected:
    MachineTest() {
        Write(dir_ + "a", "9"), Write(dir_ + "b", "9"), Write(dir_ + "c", "9");
        EXPECT_EQ(pipe2(ends_, O_CLOEXEC) + prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
    }
    ~MachineTest() override {
        close(ends_[1]), close(ends_[0]);
        while (wait(nullptr) > 0) {
        }
        fs::remove_all(dir_);
    }

    std::unique_ptr<Guardian> Start() { return Guardian::Start(text_); }

    // A process that ends with the test.
    pid_t Linger() {
        const pid_t child = fork();
        return child != 0 ? child : (close(ends_[1]), _exit(read(ends_[0], &text_[0], 1) != 0), 0);
    }

    // Goes through the steps, each a letter and what it is about. Returns the lines of those that fail, and what the
    // settings hold and whether there is the group afterwards.
    std::string Play(Guardian& guardian, const std::string& script) {
        std::istringstream steps(script);
        std::string lines, what;
        const rlimit none = {};
        for (char step; steps >> step >> what;) {
            const std::string path = dir_ + what;
            lines += step == '=' ? guardian.ChangeSetting(dir_ + what[0], what.substr(1)) : "";
            lines += step == '~' ? guardian.RestoreSetting(path) : "";
            lines += step == '+' ? guardian.MakeGroup(path) : step == '-' ? guardian.RemoveGroup(path) : "";
            EXPECT_TRUE(step != 'k' || kill(guardian.Pid(), std::stoi(what)) == 0);
            EXPECT_TRUE((step != 'r' || fs::remove(path)) && (step != 'f' || Linger() > 0));
            EXPECT_TRUE(step != 'l' || setrlimit(RLIMIT_CORE, &none) + setrlimit(RLIMIT_FSIZE, &none) == 0);
        }
        return lines + Read(dir_ + "a") + Read(dir_ + "b") + Read(dir_ + "c") + (fs::exists(dir_ + "g") ? "g" : "");
    }

    // Runs a host until a signal ends it, then waits for its guardian, the next child to end.
    void RunUntilKilled(
        auto body, const std::function<void()>& meanwhile = [] {}) {
        const pid_t host = fork();
        if (host == 0) {
            body(*Start().release());
            kill(getpid(), HasFailure() ? SIGABRT : SIGKILL);
        }
        int status = -1;
        EXPECT_TRUE(waitpid(host, &status, 0) == host && WIFSIGNALED(status) && WTERMSIG(status) != SIGABRT);
        meanwhile();
        EXPECT_TRUE(wait(&status) > 0 && status == 0);
    }

    const std::string dir_ = "/tmp/machine-" + std::to_string(getpid()) + "/";
    int ends_[2];
    std::string text_;
};

TEST_F(MachineTest, EverythingIsUndoneWhereverTheHostDies) {
    const std::pair<const char*, const char*> rows[] = {
        // It dies of the very write, after it was noted.
        {"l0 =a0", ""},
        {"=a0 =a65536", "6553699"},
        // Signals meet the guardian.
        {"=a0 k1 k2 k3 k13 k15 =b5", "059"},
        {"=a0 =b5 +g -g ~a ~c -h", "959"},
        // It dies when a group is gone and not forgotten yet.
        {"+g +g/x +g/y -g/y +g/z =a0 rg/x", "099g"},
        // A child is left that holds what the host held.
        {"=a0 +g f0", "099g"},
    };
    for (const auto& row : rows) {
        RunUntilKilled([&](Guardian& guardian) { EXPECT_EQ(Play(guardian, row.first), row.second); });
        EXPECT_EQ(Play(*Start(), ""), "999") << row.first;
    }
}

TEST_F(MachineTest, HostsKeepOutOfEachOthersWayAlsoWithoutTheirGuardians) {
    const auto first = Start();
    const auto second = Start();
    Play(*first, "=a0 +g =b0");
    EXPECT_NE(Play(*second, "=a1 +g").find("another host"), std::string::npos);
    // From now on the first changes nothing, and undoes itself what only it may change meanwhile.
    kill(first->Pid(), SIGKILL);
    EXPECT_EQ(waitid(P_PID, static_cast<id_t>(first->Pid()), nullptr, WEXITED | WNOWAIT), 0);
    for (const char* step : {"=a1", "=c1", "+g/x"}) {
        EXPECT_NE(Play(*first, step).find("has died"), std::string::npos) << step;
    }
    EXPECT_EQ(Play(*first, "~b -g/x"), "099g");
    EXPECT_NE(Play(*second, "~a -g =a1").find("or end it099g"), std::string::npos);
    // What has got into the group stays there, and is told.
    Write(dir_ + "g/stray", "");
    EXPECT_EQ(first->Finish(), "cannot undo the change of " + dir_ + "g");
    EXPECT_EQ(Play(*second, "=a1"), "199g");
}

// (a) A child of the host holds what the host held; (b) the guardian and then the host find a setting and a group that
// refuse; (c) the host does not wait for the child, tells both, and has undone the rest.
TEST_F(MachineTest, WhatCannotBeUndoneIsTold) {
    const auto guardian = Start();
    const std::string setting = "/proc/self/coredump_filter";
    EXPECT_EQ(guardian->ChangeSetting(setting, "1", "refused"), "");
    EXPECT_EQ(Play(*guardian, "=a0 +g =b0 f0"), "009g");
    Write(dir_ + "g/stray", "");
    EXPECT_EQ(guardian->Finish(), "cannot undo the change of " + dir_ + "g, " + setting);
    EXPECT_EQ(Play(*guardian, ""), "999g");
}

// (a) The host dies while its newest group, which is mounted upon, does not go; (b) what older changes have set is
// written back meanwhile; (c) once the newest group goes, so does the one above it.
TEST_F(MachineTest, SettingsDoNotWaitForAGroupThatStays) {
    const std::string group = dir_ + "g/x";
    RunUntilKilled(
        [&](Guardian& guardian) {
            Play(guardian, "=a0 +g =b0 +g/x");
            EXPECT_EQ(mount("none", group.c_str(), "tmpfs", 0, nullptr), 0);
        },
        [&] {
            while (Read(dir_ + "a") + Read(dir_ + "b") != "99") {
                usleep(1000);
            }
            EXPECT_EQ(umount(group.c_str()), 0);
        });
    EXPECT_EQ(Play(*Start(), ""), "999");
}

TEST_F(MachineTest, IoGroupsOfVersionTwoWriteIoMax) {
    const auto guardian = Start();
    const std::string parent = dir_ + "iosched-" + std::to_string(getpid());
    // What somebody else has enabled stays, what is enabled here does not.
    const std::string rows[][4] = {
        {"cpu io\n", "cpu io", "cpu io", "+io"},       {"cpu io\n", "cpu pio", "-io", "+io"},
        {"memory io\n", "memory", "-io", "+memory"},   {"io memory\n", "io", "-memory", "+memory"},
        {"io memory\n", "", "-io -memory", "+memory"},
    };
    for (const auto& [offered, before, after, last] : rows) {
        Write(dir_ + "cgroup.controllers", offered), Write(dir_ + "cgroup.subtree_control", before);
        auto groups = IoGroups::Create(*guardian, {{8, 0, "sda"}}, text_, dir_);
        // The kernel's part: a group's files are there with the group.
        EXPECT_EQ(groups->Move(1, "x"), ENOENT);
        Write(parent + "/cgroup.subtree_control", ""), Write(parent + "/cgroup.controllers", offered);
        EXPECT_EQ(groups->Limit("x", 1000, std::nullopt), ENOENT);
        Write(parent + "/x/io.max", ""), Write(parent + "/x/cgroup.procs", ""), Write(dir_ + "cgroup.procs", "");
        EXPECT_EQ(groups->Limit("x", 1000, std::nullopt) + groups->Move(42, "x") + groups->Release(43), 0);
        EXPECT_EQ(Read(parent + "/x/io.max") + Read(parent + "/x/cgroup.procs"), "8:0 rbps=1000 wbps=max42");
        EXPECT_EQ(Read(dir_ + "cgroup.procs"), "43");
        EXPECT_EQ(Read(parent + "/cgroup.subtree_control"), last);
        EXPECT_EQ(groups->Move(1, "../x") + groups->Limit("x", 0, 1), 2 * EINVAL);
        fs::remove_all(parent), groups.reset();
        EXPECT_EQ(Read(dir_ + "cgroup.subtree_control"), after);
    }
}

TEST_F(MachineTest, RealIoGroupsAreGoneAfterTheHostWasKilled) {
    if (IoGroups::Create(*Start(), MountedDisks(), text_) == nullptr) {
        GTEST_SKIP() << text_;
    }
    const pid_t member = Linger();
    const std::string places = "/proc/" + std::to_string(member) + "/cgroup";
    RunUntilKilled([&](Guardian& guardian) {
        auto* const groups = IoGroups::Create(guardian, MountedDisks(), text_).release();
        const std::string folder = text_.substr(text_.find('/')) + "/x/";
        EXPECT_EQ(groups->Limit("x", 1 << 20, 2 << 20) + groups->Move(member, "x"), 0);
        EXPECT_TRUE(groups->Move(INT32_MAX, "x") == ESRCH && groups->Move(0, "x") == ESRCH);
        const std::string limits = Read(folder + "io.max") + Read(folder + "blkio.throttle.read_bps_device") +
                                   Read(folder + "blkio.throttle.write_bps_device");
        EXPECT_LT(limits.find("1048576"), limits.find("2097152")) << limits;
        EXPECT_NE(Read(places).find("/iosched-"), std::string::npos);
    });
    EXPECT_EQ(Read(places).find("/iosched-"), std::string::npos);
}

// (a) A group is real once it has a member and a limit; (b) a process that the device forgets leaves it.
TEST_F(MachineTest, RealIoGroupsHoldTheProcessesOfTheDeviceOnly) {
    const std::string member = std::to_string(Linger());
    const auto guardian = Start();
    const auto groups = IoGroups::Create(*guardian, MountedDisks(), text_);
    if (groups == nullptr) {
        GTEST_SKIP() << text_;
    }
    for (const bool isForgotten : {false, true, false}) {
        {
            GroupLimiter limiter(*groups);
            IolimitModel model(&limiter);
            EXPECT_EQ(model.Write("iocontrol/cgroup.procs", member) + model.Write("iocontrol/iolimit.offon", "1") +
                          model.Write("iocontrol/iolimit.read_limit", "1048576"),
                      0);
            isForgotten ? model.RemoveProcess(std::stoi(member)) : void();
        }
        EXPECT_EQ(Read("/proc/" + member + "/cgroup").find("/iosched-") == std::string::npos, isForgotten);
    }
    EXPECT_EQ(groups->Release(0) + groups->Release(INT32_MAX), 2 * ESRCH);
}

// What is refused is told once, and what was not moved is with the next limit.
TEST_F(MachineTest, RefusedMoveIsTriedAgain) {
    const auto guardian = Start();
    Write(dir_ + "cgroup.controllers", "io"), Write(dir_ + "cgroup.subtree_control", "io");
    const auto groups = IoGroups::Create(*guardian, {{8, 0, "sda"}}, text_, dir_);
    const std::string parent = dir_ + "iosched-" + std::to_string(getpid());
    const std::string pid = std::to_string(getpid());
    Write(parent + "/cgroup.subtree_control", "");
    GroupLimiter limiter(*groups);
    IolimitModel model(&limiter);
    EXPECT_EQ(model.Write("iocontrol/iolimit.read_limit", "9") + model.Write("iocontrol/cgroup.procs", pid), 0);
    for (const char* text : {"1", "0", "1"}) {
        EXPECT_EQ(model.Write("iocontrol/iolimit.offon", text), 0);
    }
    while (limiter.Notes().size() < 2) {
        std::this_thread::yield();
    }
    const auto notes = limiter.Notes();
    Write(parent + "/iocontrol/io.max", ""), Write(parent + "/iocontrol/cgroup.procs", "");
    while (Read(parent + "/iocontrol/cgroup.procs") != pid) {
        EXPECT_EQ(model.Write("iocontrol/iolimit.offon", "1"), 0);
    }
    EXPECT_EQ(limiter.Notes(), notes);
    fs::remove_all(parent);
}

TEST_F(MachineTest, ViewReachesTheMachineFromInsideTheSandbox) {
    Write("/data/x/file", "x");
    fs::create_symlink("/data/x", "/data/x/folder");
    RunUntilKilled([&](Guardian&) {
        fs::current_path("/data/x");
        const auto view = MachineView::Capture(text_);
        EXPECT_TRUE(!EnterSandbox({1ULL << 30, ""}) && !fs::exists("/data/x"));
        UniqueFd file;
        EXPECT_EQ(view->OpenFile("/data/x/folder", O_RDONLY, file), ELOOP);
        EXPECT_EQ(view->OpenFile("/../data/x/folder/file", O_RDONLY, file), 0);
        EXPECT_EQ(fcntl(file.Get(), F_GETFD), FD_CLOEXEC);
        EXPECT_TRUE(view->ReturnTo() && fs::current_path() == "/data/x" && Read("/data/x/file") == "x");
    });
}

TEST_F(MachineTest, DisksAreThoseBelowThePartitionsThatAreMounted) {
    std::ofstream mounts(dir_ + "mountinfo");
    fs::create_directories(dir_ + "dev/block");
    for (const auto& [number, folder] : {std::pair("8:1", "sda/sda1"), std::pair("8:0", "sda"), std::pair("7:0", "lo"),
                                         std::pair("253:0", "dm-0"), std::pair("0:2", "")}) {
        mounts << "22 27 " << number << " / /x rw shared:1 - ext4 /dev/none rw" << std::endl;
        Write(dir_ + "devices/" + folder + "/dev", number);
        fs::create_symlink(dir_ + "devices/" + folder, dir_ + "dev/block/" + number);
    }
    for (const char* const setting : {"8:0", "253:0", "0:2-fs", "0:3", "9:1", "net-1"}) {
        Write(dir_ + "class/bdi/" + setting + "/read_ahead_kb", "");
    }
    Write(dir_ + "devices/sda/sda1/partition", "1\n"), Write(dir_ + "devices/sda/stat", "  10  2  300  4 5 6 7 8\n");
    const auto disks = MountedDisks(dir_, dir_ + "mountinfo");
    ASSERT_EQ(disks.size(), 2U);
    EXPECT_EQ(disks[0].name + disks[1].name, "sdadm-0");
    // What reads ahead by itself is among the settings: what is mounted by its number, others in any case.
    std::string settings;
    for (const std::string& file : MountedReadAheadFiles(dir_, dir_ + "mountinfo")) {
        settings += fs::path(file).parent_path().filename().string() + " ";
    }
    EXPECT_EQ(settings, "0:2-fs 253:0 8:0 net-1 ");
    // Mapped devices, one on the other, stand for the disk below them, and a loop device for none.
    fs::create_directories(dir_ + "devices/dm-0/slaves"), fs::create_directories(dir_ + "devices/dm-1/slaves");
    fs::create_symlink(dir_ + "devices/dm-1", dir_ + "dev/block/253:1"), Write(dir_ + "devices/dm-1/dev", "253:1");
    fs::create_symlink(dir_ + "devices/dm-1", dir_ + "devices/dm-0/slaves/dm-1");
    fs::create_symlink(dir_ + "devices/sda/sda1", dir_ + "devices/dm-1/slaves/sda1");
    Write(dir_ + "devices/lo/loop/backing_file", "/x\n");
    for (const auto& [above, below] : {std::pair(disks, 1U), std::pair(std::vector{disks[1]}, 1U),
                                       std::pair(std::vector{BlockDevice{7, 0, "lo"}}, 0U)}) {
        const auto counted = DisksBelow(above, dir_);
        EXPECT_TRUE(counted.size() == below && (below == 0 || counted[0].name == "sda"));
    }
    EXPECT_TRUE(BytesRead({8, 0, "sda"}, dir_) == 300 * 512U && !BytesRead({9, 9, "gone"}, dir_));
}

}  // namespace
}  // namespace ZYRA::Host
