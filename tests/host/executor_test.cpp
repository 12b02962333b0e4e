// SPDX-License-Identifier: Apache-2.0
// The executor's two requests on the limit files, and how far they reach.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include "host/runtime/confined_folder.h"
#include "platform/executor_client.h"
#include "tests/support/virtual_device_test.h"

namespace ZYRA::Host {
namespace {

namespace fs = std::filesystem;
using ResourceSchedule::ExecutorClient;

// (a) Outside the folder stands a file that nothing may touch; links, "..", doubled slashes and zero bytes lead there.
// (b) In the folder stand what is no file, and files that are written and read.
TEST(ConfinedFolderTest, NoPathLeadsOut) {
    const fs::path base = fs::path(::testing::TempDir()) / ("confined_" + std::to_string(getpid()));
    const std::string root = (base / "root").string() + "/";
    const std::string outside = (base / "outside").string();
    fs::create_directories(root + "group");
    const auto make = [](const std::string& file) { close(open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600)); };
    make(outside);
    make(root + "group/file");
    fs::create_symlink(outside, root + "link");
    fs::create_symlink(base, root + "up");
    fs::create_symlink("file", root + "group/inner");
    fs::create_symlink("root", base / "alias");
    ASSERT_EQ(mkfifo((root + "fifo").c_str(), 0600), 0);

    const ConfinedFolder folder(root);
    const std::string zero = std::string("group/file") + '\0' + "x";
    std::vector<std::string> lines = {"kept"};
    const struct {
        int error;
        std::vector<std::string> paths;
    } rows[] = {
        {EPERM,
         {outside, "", root, root.substr(0, root.size() - 1), "root/group/file", root + "../outside",
          root + "group/../../outside", root + "group/../group/file", root + "group//file", root + "./group/file",
          root + zero}},
        {ENOTDIR, {root + "group/file/", root + "up/outside"}},
        {ELOOP, {root + "link", root + "group/inner"}},
        {ENOENT, {root + "missing", root + "missing/file"}},
    };
    for (const auto& row : rows) {
        for (const std::string& path : row.paths) {
            EXPECT_EQ(folder.Write(path, "1"), row.error) << path;
            EXPECT_EQ(folder.ReadLines(path, lines), row.error) << path;
        }
    }
    const std::string alias = (base / "alias/").string();
    EXPECT_EQ(ConfinedFolder(alias).Write(alias + "group/file", "1"), ENOTDIR);
    EXPECT_EQ(folder.Write(root + "group", "1"), EISDIR);
    EXPECT_EQ(folder.Write(root + "fifo", "1"), ENXIO);
    EXPECT_EQ(folder.ReadLines(root + "fifo", lines), EINVAL);
    EXPECT_EQ(folder.ReadLines(root + "group", lines), EINVAL);
    EXPECT_EQ(lines, std::vector<std::string>{"kept"});
    EXPECT_EQ(fs::file_size(outside), 0u);
    EXPECT_FALSE(fs::exists(root + "missing"));

    EXPECT_EQ(folder.Write(root + "group/file", "12\n\n3"), 0);
    EXPECT_EQ(folder.ReadLines(root + "group/file", lines), 0);
    EXPECT_EQ(lines, (std::vector<std::string>{"12", "", "3"}));
    fs::remove_all(base);
}

class ExecutorTest : public VirtualDeviceTest {
protected:
    static void Write(const nlohmann::json& payload) { ExecutorClient::GetInstance().SendRequestAsync(8, 2, payload); }
    // The reply, or "failed" after one that is not empty has been emptied.
    static std::string Read(const nlohmann::json& payload, uint32_t type = 0, int64_t value = 3) {
        nlohmann::json reply = "before";
        const int32_t error = ExecutorClient::GetInstance().SendRequestSync(type, value, payload, reply);
        return error == 0 ? reply.dump() : reply.is_null() ? "failed" : "failed with a reply";
    }
    const std::string procs_ = "/dev/iolimit/iocontrol/cgroup.procs";
};

TEST_F(ExecutorTest, RequestsAreCarriedOutInOrderOfSending) {
    const nlohmann::json members = {{"filePath", procs_}};
    EXPECT_EQ(Read(members), R"({"list":[]})");
    // What was sent before is done before, also when its turn on the queue has not come.
    for (const char* pid : {"12", "7", "30"}) {
        Write({{"filePath", procs_}, {"content", pid}});
    }
    Write({{"filePath", "/dev/iolimit/heavyio/cgroup.procs"}, {"content", "7"}});
    EXPECT_EQ(Read(members), R"({"list":["12","30"]})");
    RunFor(0);
    EXPECT_EQ(Read(members), R"({"list":["12","30"]})");
    device_->Apply(nlohmann::json::parse(R"({"processes": {"12": {"uid": 1}, "30": {"uid": 1}}})"));
    device_->Apply(nlohmann::json::parse(R"({"processes": {"12": null}})"));
    EXPECT_EQ(Read(members), R"({"list":["30"]})");
    device_.reset();
    EXPECT_EQ(Read(members), "failed");
}

TEST_F(ExecutorTest, WhatCannotBeCarriedOutIsRefusedAndLogged) {
    for (const nlohmann::json& payload :
         {nlohmann::json(), nlohmann::json({{"content", "1"}}), nlohmann::json({{"filePath", procs_}}),
          nlohmann::json({{"filePath", procs_}, {"content", 1}}),
          nlohmann::json({{"filePath", procs_}, {"content", ""}}),
          nlohmann::json({{"filePath", "/dev/workingset/cgroup.procs"}, {"content", "1"}}),
          nlohmann::json({{"filePath", procs_}, {"content", "one"}})}) {
        Write(payload);
    }
    ExecutorClient::GetInstance().SendRequestAsync(8, 3, {});
    RunFor(0);
    EXPECT_EQ(CountLogs("refused a request of type 8 value 2: no file path or no content"), 5u);
    EXPECT_EQ(CountLogs("refused a request of type 8 value 2: /dev/workingset/cgroup.procs: EPERM"), 1u);
    EXPECT_EQ(CountLogs("refused a request of type 8 value 2: " + procs_ + ": EINVAL"), 1u);
    EXPECT_EQ(CountLogs("refused a request of type 8 value 3: unknown request"), 1u);
    EXPECT_EQ(Read({{"filePath", "/dev/iolimit/../workingset/cgroup.procs"}}), "failed");
    EXPECT_EQ(Read({{"filePath", procs_}}, 0, 2), "failed");
    EXPECT_EQ(Read({{"filePath", procs_}}, 8, 3), "failed");
    EXPECT_EQ(Read(nlohmann::json::array()), "failed");
}

TEST_F(ExecutorTest, LimitFilesTakeWhatTheyAreFor) {
    const struct {
        const char* file;
        const char* content;
        const char* shown;
    } rows[] = {
        {"iocontrol/iolimit.offon", "1", "1\n"},
        {"iocontrol/iolimit.offon", "2", "1\n"},
        {"heavyio/iolimit.offon", "01", "0\n"},
        {"heavyio/iolimit.read_limit", "3145728", "3145728\n"},
        {"heavyio/iolimit.read_limit", "0", "3145728\n"},
        {"heavyio/iolimit.write_limit", "-1", "max\n"},
        {"heavyio/iolimit.write_limit", "3M", "max\n"},
        {"ionormal/iolimit.write_limit", "18446744073709551615", "18446744073709551615\n"},
        {"ionormal/iolimit.write_limit", "max\n", "max\n"},
        {"ionormal/cgroup.procs", "5", "5\n"},
        {"ionormal/cgroup.procs", "0", "5\n"},
        {"heavyio/cgroup.procs", "5", "5\n"},
    };
    for (const auto& row : rows) {
        const std::string path = std::string("/dev/iolimit/") + row.file;
        Write({{"filePath", path}, {"content", row.content}});
        RunFor(0);
        EXPECT_EQ(ReadFile(path), row.shown) << path << " " << row.content;
    }
    EXPECT_EQ(ReadFile("/dev/iolimit/ionormal/cgroup.procs"), "");
}

}  // namespace
}  // namespace ZYRA::Host
