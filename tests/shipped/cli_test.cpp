// The command line as people meet it: what is refused, with which text and which exit status.

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

namespace fs = std::filesystem;

struct Outcome {
    int exitStatus;
    std::string output;  // Both streams.
};

Outcome RunHost(const std::string& arguments) {
    const std::string command = std::string(HOST_BINARY) + " " + arguments + " 2>&1";
    FILE* pipe = popen(command.c_str(), "re");
    Outcome outcome{};
    char chunk[4096];
    for (size_t length = 0; (length = fread(chunk, 1, sizeof(chunk), pipe)) > 0;) {
        outcome.output.append(chunk, length);
    }
    outcome.exitStatus = WEXITSTATUS(pclose(pipe));
    return outcome;
}

// A folder of its own for the files of one test.
class CliTest : public ::testing::Test {
protected:
    CliTest() { fs::create_directories(folder_); }
    ~CliTest() override { fs::remove_all(folder_); }

    std::string Write(const std::string& name, const std::string& text) const {
        const fs::path path = folder_ / name;
        std::ofstream(path) << text;
        return path;
    }

    const fs::path folder_ = fs::temp_directory_path() / ("iosched_cli_" + std::to_string(getpid()));
};

TEST_F(CliTest, BadInputEndsWithItsPlaceAndStatus2) {
    const std::string good = Write("good.jsonl", R"({"t":5,"event":{"type":9,"value":1}})");
    const struct {
        std::string arguments;
        std::string message;  // Contained in the output.
    } rows[] = {
        {"replay " + Write("a.jsonl", "{\"comment\":\"x\"}\n{\"t\":1,\"evnt\":{}}\n"), "a.jsonl:2: "},
        {"replay " + Write("b.jsonl", "{\"t\":5,\"dump\":[]}\n\n{\"t\":4,\"dump\":[]}\n"), "b.jsonl:3: "},
        {"replay " + Write("c.jsonl", "{\"t\":5,\"dump\":[]}\n{\n"), "c.jsonl:2: "},
        {"replay " + good + " --device " + Write("d.json", "{\n \"bundles\": {},\n \"bundels\": {}\n}"), "d.json:3: "},
        {"replay " + good + " --device " + Write("e.json", "{\n \"romGB\": 100\n}"), "e.json:2: "},
        {"replay " + (folder_ / "missing.jsonl").string(), "missing.jsonl: "},
        {"replay " + good + " --device " + (folder_ / "missing.json").string(), "missing.json: "},
        {"replay " + good + " --plugin " + (folder_ / "missing.so").string(), "missing.so: "},
        {"replay " + good + " --plugin " + good, "good.jsonl: "},
        {"replay " + good + " --log-level LOUD", "LOUD"},
        {"replay", "SCENARIO"},
        {"replya", ""},
    };
    for (const auto& row : rows) {
        const Outcome outcome = RunHost(row.arguments);
        EXPECT_EQ(outcome.exitStatus, 2) << row.arguments << "\n" << outcome.output;
        EXPECT_NE(outcome.output.find(row.message), std::string::npos) << row.arguments << "\n" << outcome.output;
    }
}

// The record directories and files of a replay stay in the folder that --data names, with the modes of the device.
TEST_F(CliTest, DataFolderKeepsTheRecordsAndTheyAreServedNextTime) {
    const std::string data = (folder_ / "data").string();
    fs::create_directory(data);
    const std::string arguments = std::string("replay ") + SCENARIO_DIR + "/cold_start_first.jsonl --data " + data;
    EXPECT_EQ(RunHost(arguments).exitStatus, 0);
    const fs::path records = fs::path(data) / "service/el1/public/ressched/workingset";
    const fs::path bundle = records / "com.example.mail";
    constexpr auto PERMISSION_BITS = fs::perms::mask;
    EXPECT_EQ(fs::status(records).permissions() & PERMISSION_BITS, fs::perms{0700});
    EXPECT_EQ(fs::status(bundle).permissions() & PERMISSION_BITS, fs::perms{0700});
    EXPECT_EQ(fs::status(bundle / "com.example.mail").permissions() & PERMISSION_BITS, fs::perms{0600});
    EXPECT_GT(fs::file_size(bundle / "com.example.mail"), 0u);

    const Outcome second = RunHost(arguments + " --journal -");
    EXPECT_EQ(second.exitStatus, 0);
    EXPECT_NE(second.output.find(R"("kind":"preread","monitor":0,"scene":"com.example.mail/com.example.mail")"),
              std::string::npos)
        << second.output;
}

TEST_F(CliTest, LeavesNoMountBehind) {
    const auto mounts = [] {
        std::ifstream file("/proc/self/mounts");
        return std::string(std::istreambuf_iterator<char>(file), {});
    };
    const std::string before = mounts();
    EXPECT_EQ(RunHost(std::string("replay ") + SCENARIO_DIR + "/cold_start_first.jsonl").exitStatus, 0);
    EXPECT_EQ(mounts(), before);
}

}  // namespace
