// SPDX-License-Identifier: Apache-2.0
// The facility's files through real system calls, inside the sandbox.

#include "host/kernel/kernel_facility.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "host/kernel/record_file.h"
#include "host/runtime/journal.h"
#include "host/runtime/unique_fd.h"
#include "host/runtime/virtual_runtime.h"
#include "host/sandbox/sandbox.h"
#include "platform/file_util.h"

namespace ZYRA::Host {
namespace {

const std::string STATE = "/dev/workingset/monitor0/workingset.state";
const std::string DATA = "/dev/workingset/monitor0/workingset.data";
const std::string RECORDS = "/data/service/el1/public/ressched/workingset/";

// 0, or the errno of the call that failed.
int WriteFile(const std::string& path, const std::string& content) {
    return SaveStringToFile(path, content, false) ? 0 : errno;
}

class KernelFacilityTest : public ::testing::Test {
protected:
    void SetUp() override { Start(); }
    void TearDown() override { Stop(); }
    void Start() {
        ASSERT_EQ(kernel_.Start(KERNEL_MOUNT_POINT), "");
        const auto error = ExposeKernelFiles();
        ASSERT_FALSE(error.has_value()) << *error;
    }
    void Stop() {
        WithdrawKernelFiles();
        kernel_.Stop();
    }
    // What is said of the scene's record when it is bound.
    std::string StateOf(const std::string& scene) {
        EXPECT_EQ(WriteFile(DATA, "1 2 " + scene + " " + RECORDS + scene), 0);
        const std::string data = Read(DATA);
        return data.substr(0, data.find('\n'));
    }
    std::string Read(const std::string& path) {
        std::string content;
        return LoadStringFromFile(path, content) ? content : "errno " + std::to_string(errno);
    }

    KernelFacility kernel_;
};

TEST_F(KernelFacilityTest, EachWriteIsOneCommandWhateverItsOffset) {
    const int fd = open(STATE.c_str(), O_WRONLY | O_CLOEXEC);
    ASSERT_GE(fd, 0);
    for (const std::string word : {"INWORKING", "PAUSED"}) {
        EXPECT_EQ(write(fd, word.data(), word.size()), static_cast<ssize_t>(word.size()));
        EXPECT_EQ(Read(STATE), word);
    }
    close(fd);
    EXPECT_TRUE(SaveStringToFile("/proc/sys/kernel/ws_fault_around", "1", true));
    EXPECT_EQ(Read("/proc/sys/kernel/ws_fault_around"), "1\n");
    char resolved[PATH_MAX];
    EXPECT_STREQ(realpath("/dev/workingset//workingset.dfxinfo", resolved), "/dev/workingset/workingset.dfxinfo");
    EXPECT_EQ(Read("/dev/workingset/monitor2/workingset.state"), "errno " + std::to_string(ENOENT));
    EXPECT_EQ(open("/dev/workingset/new", O_WRONLY | O_CREAT | O_CLOEXEC, 0600), -1);
}

TEST_F(KernelFacilityTest, FoldersTellWhatIsInThem) {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator("/dev/workingset/monitor0")) {
        names.insert(entry.path().filename());
    }
    EXPECT_EQ(names, (std::set<std::string>{"workingset.state", "workingset.data", "workingset.clearYoung",
                                            "cgroup.procs", "tasks"}));
}

// (a) One rule counts every operation below a folder, openings included, and a late answer passes what is said to take
// time; (b) of a short write the caller is told half, and nothing was done; reads do not count for it.
TEST_F(KernelFacilityTest, AnswersComeLateOrWritesAreShort) {
    VirtualRuntime runtime(1750000000);
    TaskRuntime::Install(runtime);
    kernel_.Faults().Set({{"/dev/workingset/**", std::nullopt, 0, 2, 1, false, 300000}});
    EXPECT_EQ(Read(DATA), "");
    EXPECT_EQ(runtime.ElapsedUs(), 0);
    EXPECT_EQ(WriteFile(STATE, "PAUSED"), 0);
    EXPECT_EQ(runtime.ElapsedUs(), 300000);
    TaskRuntime::InstallDefault();

    kernel_.Faults().Set({{"/dev/workingset/*0/**", std::nullopt, 0, 0, 1, true}});
    EXPECT_EQ(Read(STATE), "PAUSED");
    const int fd = open(STATE.c_str(), O_WRONLY | O_CLOEXEC);
    EXPECT_EQ(write(fd, "INWORKING", 9), 4);
    EXPECT_EQ(Read(STATE), "PAUSED");
    EXPECT_EQ(write(fd, "INWORKING", 9), 9);
    close(fd);
}

// A record is written into the file that is there, keeps its mode, and is found by the facility of the next boot; a
// link in its place is not followed.
TEST_F(KernelFacilityTest, RecordsAreKeptInExistingFilesOnly) {
    const std::string folder = RECORDS + "com.a";
    std::filesystem::create_directories(folder);
    close(open((folder + "/there").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    close(open((folder + "/target").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    std::filesystem::create_symlink(folder + "/target", folder + "/link");
    for (const char* scene : {"com.a/there", "com.a/missing", "com.a/link"}) {
        StateOf(scene);
        EXPECT_EQ(WriteFile(STATE, "INWORKING"), 0);
        EXPECT_EQ(WriteFile("/dev/workingset/monitor0/cgroup.procs", "2"), 0);
        EXPECT_EQ(WriteFile(STATE, "STOP"), 0);
    }
    EXPECT_EQ(std::filesystem::status(folder + "/there").permissions(), std::filesystem::perms{0600});
    EXPECT_FALSE(std::filesystem::exists(folder + "/missing"));
    EXPECT_EQ(std::filesystem::file_size(folder + "/target"), 0u);

    Stop();
    KernelFacility next;
    ASSERT_EQ(next.Start(KERNEL_MOUNT_POINT), "");
    ASSERT_FALSE(ExposeKernelFiles().has_value());
    EXPECT_EQ(StateOf("com.a/there"), "RecordState:uptodate");
    EXPECT_EQ(StateOf("com.a/missing"), "RecordState:absent");
    EXPECT_EQ(StateOf("com.a/link"), "RecordState:absent");
    WithdrawKernelFiles();
    next.Stop();
}

// (a) The record of an earlier boot is found until a preset says that there is none. (b) A backup writes what is cached
// into the file, which clearRecord leaves alone. (c) A file that holds no record is none, however it was made so, and a
// scene's name does not lead out of the folder.
TEST_F(KernelFacilityTest, RecordFilesStandBehindTheCache) {
    const std::string file = RECORDS + "com.a/b";
    std::filesystem::create_directories(RECORDS + "com.a");
    close(open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));

    SaveStringToFile(file, "workingset-record 1\npages 9\nolder\n");
    EXPECT_EQ(StateOf("com.a/b"), "RecordState:older");
    kernel_.SetRecord("com.a/b", RecordState::ABSENT);
    EXPECT_EQ(WriteFile("/dev/workingset/workingset.clearRecord", "com.a/b"), 0);
    EXPECT_EQ(StateOf("com.a/b"), "RecordState:absent");

    kernel_.SetScenePages("com.a/b", 77);
    kernel_.SetRecord("com.a/b", RecordState::UPTODATE);
    EXPECT_EQ(WriteFile(STATE, "BACKUP"), 0);
    EXPECT_EQ(Read(file), "workingset-record 1\npages 77\n");
    EXPECT_EQ(WriteFile("/dev/workingset/workingset.clearRecord", "com.a/b"), 0);
    EXPECT_EQ(StateOf("com.a/b"), "RecordState:uptodate");

    for (const std::string content : {"workingset-record 2\npages 9\n", "workingset-record 1\npages 0\n",
                                      "workingset-record 1\npages 9", "workingset-record 1\npages 9\nolder\n\n", ""}) {
        EXPECT_EQ(WriteFile("/dev/workingset/workingset.clearRecord", "com.a/b"), 0);
        EXPECT_TRUE(SaveStringToFile(file, content));
        EXPECT_EQ(StateOf("com.a/b"), "RecordState:absent") << content;
    }
    SaveStringToFile(file, "workingset-record 1\npages 9\n");
    EXPECT_EQ(StateOf("com.a/../com.a/b"), "RecordState:absent");
}

// The first 4096 bytes once were the record, whatever came behind them.
TEST(RecordFileTest, FileThatIsLongerThanAnyRecordHoldsNone) {
    const std::string path = RECORDS + "record";
    const std::string head = "workingset-record 1\npages ";
    std::filesystem::create_directories(RECORDS);
    std::ofstream(path) << head << std::string(4096 - head.size() - 3, '0') << "7\n";
    EXPECT_TRUE(LoadRecordFile(path).has_value());
    std::ofstream(path) << head << std::string(4096 - head.size() - 2, '0') << "7\nand more";
    EXPECT_FALSE(LoadRecordFile(path).has_value());
}

TEST_F(KernelFacilityTest, StartedAndStoppedAgainLeavesNothingBehind) {
    const auto count = [](const char* folder) {
        const std::filesystem::directory_iterator entries(folder);
        return std::distance(begin(entries), end(entries));
    };
    const auto threads = count("/proc/self/task");
    const auto descriptors = count("/proc/self/fd");
    EXPECT_EQ(WriteFile(STATE, "ABORT"), 0);
    for (int i = 0; i < 30; ++i) {
        Stop();
        Start();
        ASSERT_EQ(Read(STATE), "ABORT");
    }
    EXPECT_EQ(count("/proc/self/task"), threads);
    EXPECT_EQ(count("/proc/self/fd"), descriptors);
}

// Needs a descriptor that was opened when the facility served already, and so is not in its servers' table.
class CountingSink final : public JournalSink {
public:
    CountingSink() : counter_(eventfd(0, EFD_CLOEXEC)) {}
    void OnEntry(const JournalEntry& /*entry*/) override { failures_ += eventfd_write(counter_.Get(), 1) == 0 ? 0 : 1; }
    int Failures() const { return failures_; }
    uint64_t Count() const {
        uint64_t count = 0;
        return eventfd_read(counter_.Get(), &count) == 0 ? count : 0;
    }

private:
    UniqueFd counter_;
    int failures_ = 0;
};

// Is content with any thread.
class QuietSink final : public JournalSink {
public:
    void OnEntry(const JournalEntry& /*entry*/) override { thread = gettid(); }
    bool NeedsDescriptors() const override { return false; }
    std::atomic<pid_t> thread{0};
};

// (a) Commands are told on the thread that has the descriptors as soon as a sink needs them, (b) which may come and go
// while commands are carried out; (c) without one the thread that serves tells them.
TEST_F(KernelFacilityTest, SinksFindTheDescriptorsThatTheyNeed) {
    QuietSink quiet;
    Journal::GetInstance().AddSink(&quiet);
    EXPECT_EQ(WriteFile(STATE, "PAUSED"), 0);
    const pid_t server = quiet.thread;
    std::atomic<bool> isOver{false};
    std::thread writer([&] {
        while (!isOver) {
            EXPECT_EQ(WriteFile(STATE, "INWORKING"), 0);
        }
    });
    for (int i = 0; i < 50; ++i) {
        CountingSink sink;
        Journal::GetInstance().AddSink(&sink);
        EXPECT_EQ(WriteFile(STATE, "PAUSED"), 0);
        EXPECT_NE(quiet.thread, server);
        Journal::GetInstance().RemoveSink(&sink);
        EXPECT_EQ(sink.Failures(), 0);
        EXPECT_GE(sink.Count(), 1u);
    }
    isOver = true;
    writer.join();
    Journal::GetInstance().RemoveSink(&quiet);
}

// A command that never ends.
class StuckFiles final : public ControlFiles {
public:
    explicit StuckFiles(int entered) : entered_(entered) {}
    std::string DeviceRoot() const override { return "/dev/"; }
    std::vector<ControlFile> List() const override { return {{"stuck", 0644}}; }
    int Read(std::string_view /*name*/, std::string& /*content*/) override { return EIO; }
    int Write(std::string_view /*name*/, const std::string& /*content*/) override {
        EXPECT_EQ(write(entered_, "x", 1), 1);
        for (;;) {
            pause();
        }
    }

private:
    const int entered_;
};

// (a) A process serves files to itself, (b) one of its threads waits for an answer that does not come, (c) it is
// killed. With the connection in the table of all threads the one that waits would hold it, and wait, for ever.
TEST(FuseServerTest, AKillEndsAProcessThatWaitsForItsOwnFiles) {
    int entered[2];
    ASSERT_EQ(pipe2(entered, O_CLOEXEC), 0);
    const pid_t child = fork();
    if (child == 0) {
        FaultTable faults;
        KernelTree tree(faults);
        StuckFiles files(entered[1]);
        tree.Add("", files);
        FuseServer server(tree);
        const bool started = server.Start(KERNEL_MOUNT_POINT).empty();
        _exit(started ? WriteFile(std::string(KERNEL_MOUNT_POINT) + "/stuck", "x") : 1);
    }
    close(entered[1]);
    char byte;
    EXPECT_EQ(read(entered[0], &byte, 1), 1) << "the child has not come to its command";
    close(entered[0]);
    kill(child, SIGKILL);
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status));
    umount2(KERNEL_MOUNT_POINT, MNT_DETACH);
}

}  // namespace
}  // namespace ZYRA::Host
