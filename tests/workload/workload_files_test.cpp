// SPDX-License-Identifier: Apache-2.0
// A scenario with its device model appears as a whole or not at all.

#include "host/workload/workload_files.h"

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <string>

#include "platform/file_util.h"

namespace ZYRA::Host {
namespace {

namespace fs = std::filesystem;

class WorkloadFilesTest : public ::testing::Test {
protected:
    WorkloadFilesTest() { fs::create_directories(folder_); }
    ~WorkloadFilesTest() override { fs::remove_all(folder_); }

    std::string Path(const std::string& name) const { return (folder_ / name).string(); }
    std::set<std::string> Names() const {
        std::set<std::string> names;
        for (const auto& entry : fs::directory_iterator(folder_)) {
            names.insert(entry.path().filename());
        }
        return names;
    }
    static std::string Content(const std::string& path) {
        std::string content;
        return LoadStringFromFile(path, content) ? content : "none";
    }

    const fs::path folder_ = fs::temp_directory_path() / ("iosched_workload_" + std::to_string(getpid()));
};

TEST_F(WorkloadFilesTest, BothTakeTheirNamesAtTheEndAndReplaceWhatWasThere) {
    std::ofstream(Path("a.jsonl")) << "old";
    { WorkloadFiles(Path("a.jsonl")).Write("without an end\n"); }
    EXPECT_EQ(Names(), std::set<std::string>{"a.jsonl"});
    {
        WorkloadFiles files(Path("a.jsonl"));
        files.Write("one\n");
        files.Write("two\n");
        EXPECT_EQ(Content(Path("a.jsonl")), "old");
        EXPECT_TRUE(files.Commit({{"romGB", 32}})) << files.Failure();
    }
    EXPECT_EQ(Names(), (std::set<std::string>{"a.jsonl", "a.device.json"}));
    EXPECT_EQ(Content(Path("a.jsonl")), "one\ntwo\n");
    EXPECT_EQ(Content(Path("a.device.json")), "{\n \"romGB\": 32\n}\n");
}

TEST_F(WorkloadFilesTest, WhatIsNoFileIsNeverReplaced) {
    ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
    fs::create_directory(Path("folder"));
    fs::create_directory(Path("b.device.json"));
    const struct {
        std::string output;
        std::string failure;
    } rows[] = {
        {"/dev/full", "/dev/full: is not a regular file"},
        {Path("pipe"), Path("pipe") + ": is not a regular file"},
        {Path("folder"), Path("folder") + ": is not a regular file"},
        {Path("b.jsonl"), Path("b.device.json") + ": is not a regular file"},
        {Path("none/a.jsonl"), Path("none/a.jsonl") + ": No such file or directory"},
        {Path("pipe/a.jsonl"), Path("pipe/a.jsonl") + ": Not a directory"},
    };
    for (const auto& row : rows) {
        WorkloadFiles files(row.output);
        EXPECT_EQ(files.Failure(), row.failure);
        files.Write("one\n");
        EXPECT_FALSE(files.Commit({})) << row.output;
        EXPECT_EQ(files.Failure(), row.failure);
    }
    EXPECT_TRUE(fs::is_fifo(Path("pipe")));
    EXPECT_TRUE(fs::is_character_file("/dev/full"));
    EXPECT_EQ(Names(), (std::set<std::string>{"pipe", "folder", "b.device.json"}));
}

// (a) An older pair is there, on a file system with room for little more. (b) The new one does not fit. (c) The older
// pair is still there, and nothing else.
TEST_F(WorkloadFilesTest, AFullFileSystemLeavesTheOlderPair) {
    ASSERT_EQ(mount("tmpfs", folder_.c_str(), "tmpfs", 0, "size=128k"), 0) << strerror(errno);
    std::ofstream(Path("a.jsonl")) << "old";
    std::ofstream(Path("a.device.json")) << "old device";
    {
        WorkloadFiles files(Path("a.jsonl"));
        for (int line = 0; line < 100; ++line) {
            files.Write(std::string(4095, 'x') + "\n");
        }
        EXPECT_FALSE(files.Commit({}));
        EXPECT_EQ(files.Failure(), Path("a.jsonl") + ": No space left on device");
    }
    EXPECT_EQ(Names(), (std::set<std::string>{"a.jsonl", "a.device.json"}));
    EXPECT_EQ(Content(Path("a.jsonl")), "old");
    EXPECT_EQ(Content(Path("a.device.json")), "old device");
    EXPECT_EQ(umount(folder_.c_str()), 0);
}

}  // namespace
}  // namespace ZYRA::Host
