// SPDX-License-Identifier: Apache-2.0
// The command line as people meet it: what is refused, with which text and which exit status.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>

#include "host/pages/page_record.h"
#include "host/pages/record_check.h"
#include "host/replay/device_model.h"
#include "host/replay/scenario.h"
#include "tests/shipped/host_runner.h"

namespace ZYRA::Host {
namespace {

namespace fs = std::filesystem;

class CliTest : public HostRunnerTest {
protected:
    static std::string Read(const fs::path& path) {
        std::ifstream file(path);
        return std::string(std::istreambuf_iterator<char>(file), {});
    }
};

TEST_F(CliTest, BadInputEndsWithItsPlaceAndStatus2) {
    const std::string good = Write("good.jsonl", R"({"t":5,"event":{"type":9,"value":1}})");
    const std::string device = Write("ok.json", "{}");
    const std::string twice = folder_ / "x";
    const std::string log = Write("log.csv", "app,time\nMail,never\n");
    const std::string same = Write("same.jsonl", "app,time\nMail,1700000000\n");
    const struct {
        std::string arguments;
        std::string message;  // Contained in the output.
    } rows[] = {
        {"replay " + Write("a.jsonl", "{\"comment\":\"x\"}\n{\"t\":1,\"evnt\":{}}\n"), "a.jsonl:2: "},
        {"replay " + Write("b.jsonl", "{\"t\":5,\"dump\":[]}\n\n{\"t\":4,\"dump\":[]}\n"), "b.jsonl:3: "},
        {"replay " + good + " --device " + Write("d.json", "{\n \"bundles\": {},\n \"bundels\": {}\n}"), "d.json:3: "},
        {"replay " + (folder_ / "missing.jsonl").string(), "missing.jsonl: "},
        {"replay " + good + " --device " + (folder_ / "missing.json").string(),
         "missing.json: No such file or directory"},
        {"replay " + good + " --device /", "/: Is a directory"},
        {"replay " + good + " --plugin " + (folder_ / "missing.so").string(), "missing.so: "},
        {"replay " + good + " --plugin " + good, "good.jsonl: "},
        {"replay " + good + " --log-level LOUD", "LOUD"},
        {"replay " + good + " --journal " + good, "good.jsonl: is the scenario, and cannot be written to"},
        {"replay " + good + " --report " + good, "good.jsonl: is the scenario, and cannot be written to"},
        {"replay " + good + " --device " + device + " --json " + device, "ok.json: is the device model, and cannot be"},
        {"replay " + good + " --journal " + twice + " --trace " + folder_.string() + "/./x",
         "x: is to be written twice"},
        {"replay", "SCENARIO"},
        {"generate --days 0 --apps 5", "--days"},
        {"generate --days 3661 --apps 5", "--days"},
        {"generate --days 1 --apps 2001", "--apps"},
        {"generate --apps 5", "--days"},
        {"generate --days 1 --apps 1 --seed -1", "\"-1\""},
        {"generate --days 1 --apps 1 --seed 18446744073709551616", "\"18446744073709551616\""},
        {"import --columns app=a,time=t", "FILE.csv"},
        {"import " + log, "--columns"},
        {"import " + log + " --columns app=app", "--columns: "},
        {"import " + log + " --columns app=app,time=t", "log.csv:1: has no column \"t\"; there are \"app\", \"time\""},
        {"import " + log + " --columns app=app,time=time", "log.csv:2: \"never\" is not a time that can be read"},
        {"import " + log + " --columns app=app,time=time", "log.csv: holds no row that can be used"},
        {"import " + same + " --columns app=app,time=time", "same.jsonl: would replace the log"},
        {"import " + (folder_ / "missing.csv").string() + " --columns app=a,time=t", "missing.csv: "},
        {"records " + folder_.string(), ": has no folder service/el1"},
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

// What was made up for a seed is made up again for it, and can be replayed.
TEST_F(CliTest, GeneratedScenariosAreTheSameForASeedAndCanBeReplayed) {
    const std::string first = (folder_ / "first.jsonl").string();
    const std::string again = (folder_ / "again.jsonl").string();
    const Outcome made = RunHost("generate --days 2 --apps 5 --output " + first);
    EXPECT_EQ(made.exitStatus, 0) << made.output;
    const std::string seed = made.output.substr(made.output.find("seed ") + 5);
    EXPECT_EQ(RunHost("generate --days 2 --apps 5 --output " + again + " --seed " + seed).exitStatus, 0);
    EXPECT_EQ(Read(first), Read(again));
    EXPECT_EQ(Read(folder_ / "first.device.json"), Read(folder_ / "again.device.json"));

    InputError error;
    const auto scenario = ParseScenario(first, Read(first), error);
    ASSERT_TRUE(scenario.has_value()) << error.Text();
    EXPECT_NE(made.output.find(" " + std::to_string(scenario->steps.size()) + " steps"), std::string::npos)
        << made.output;
    const auto model = LoadDeviceModel(folder_ / "first.device.json", error);
    ASSERT_TRUE(model.has_value()) << error.Text();
    EXPECT_EQ(model->state.bundles.size(), 5u);

    const Outcome replayed = RunHost("replay " + first + " --journal - --log-level WARN");
    EXPECT_EQ(replayed.exitStatus, 0) << replayed.output.substr(0, 1000);
    EXPECT_EQ(replayed.output.find("\"kind\":\"log\""), std::string::npos);
}

TEST_F(CliTest, OutputThatCannotBeWrittenIsAFailedRun) {
    const std::string log = Write("log.csv", "app,time\nMail,1700000000\n");
    for (const std::string& command :
         {std::string("generate --days 1 --apps 1"), "import " + log + " --columns app=app,time=time"}) {
        const Outcome outcome = RunHost(command + " --output /dev/full");
        EXPECT_EQ(outcome.exitStatus, 1) << command;
        EXPECT_EQ(outcome.output, "/dev/full: is not a regular file\n") << command;
    }
}

// Bad rows are named, the others become a scenario beside the log.
TEST_F(CliTest, ALogIsImportedWithoutItsBadRows) {
    const std::string log = Write("usage.csv",
                                  "\xEF\xBB\xBF\"App; name\";Opened;Length;Page\r\n"
                                  "Mail;01/05/2024 12:40;1:30;pages/Inbox\r\n"
                                  "com.example.maps;01/05/2024 12:34;20;\r\n"
                                  "\"Chat\";31/04/2024 12:41;20;\r\n"
                                  "Chat;13/05/2024 12:41\r\n"
                                  ";13/05/2024 12:41;20;\r\n"
                                  "Mail;13/05/2024 12:41;20;\"with \"\"quotes\"\"\"\r\n");
    const Outcome outcome =
        RunHost("import " + log + " --columns 'app=App; name,time=Opened,duration=Length,page=Page'");
    EXPECT_EQ(outcome.exitStatus, 0);
    const std::string scenarioFile = (folder_ / "usage.jsonl").string();
    const std::string deviceFile = (folder_ / "usage.device.json").string();
    InputError error;
    const auto scenario = ParseScenario(scenarioFile, Read(scenarioFile), error);
    ASSERT_TRUE(scenario.has_value()) << error.Text() << outcome.output;
    EXPECT_EQ(outcome.output, log + ":4: \"31/04/2024 12:41\" is not a time that can be read\n" + log +
                                  ":5: too few fields: 2 where 4 are needed\n" + log + ":6: names no application\n" +
                                  log + ": the rows are not in the order of their times; they have been sorted\n" +
                                  log + ": 6 rows read, 3 taken, 3 bad; wrote " + scenarioFile + " and " + deviceFile +
                                  ": " + std::to_string(scenario->steps.size()) + " steps\n");
    const auto model = LoadDeviceModel(deviceFile, error);
    ASSERT_TRUE(model.has_value()) << error.Text();
    EXPECT_EQ(model->startTimeS, 1714566840 - 60);
    EXPECT_TRUE(model->scenes.contains("app.Mail/EntryAbility.with \"quotes\""));

    const Outcome replayed = RunHost("replay " + scenarioFile + " --journal - --log-level WARN");
    EXPECT_EQ(replayed.exitStatus, 0) << replayed.output;
    EXPECT_EQ(replayed.output.find("\"kind\":\"log\""), std::string::npos) << replayed.output;
}

// A record of each kind, listed and one by one; what is no scene is refused.
TEST_F(CliTest, RecordsAreToldWithTheirFilesAndPages) {
    const fs::path records = folder_ / "service/el1/public/ressched/workingset";
    fs::create_directories(records);
    RecordedFile library = {FileKind::REGULAR, {}, Write("library", std::string(100000, 'x'))};
    library.identity = LookAtPath(library).value();
    const RecordedFile gone = {FileKind::REGULAR, {1, 1, 8192, 0}, "/gone"};
    Write(records / "mail", EncodeRecord({0, false, {gone, library}, {{1, {9, 3}}, {0, {1, 1}}, {1, {0, 1}}}}));
    Write(records / "modelled", "workingset-record 1\npages 5200\n");
    Write(records / "broken", "workingset-record 1\npages x\n");
    const auto tell = [this](const std::string& scene) { return RunHost("records " + folder_.string() + scene); };
    EXPECT_EQ(std::regex_replace(tell("").output, std::regex("( |[0-9]+ days ago)+"), " "),
              " scene files pages size made state\n broken - - - - damaged\n mail 2 5 0.0 MB older\n"
              " modelled - 5200 21.3 MB - modelled\n");
    const std::string one = tell(" mail").output;
    EXPECT_EQ(one.substr(one.find('\n') + 1),
              "  " + library.path + "  4 pages, unchanged\n    9-11 0\n  /gone  1 page, changed\n    1\n");
    EXPECT_EQ(tell(" broken").exitStatus, 1);
    EXPECT_EQ(tell(" ../mail").exitStatus, 2);
}

// In real time the shutdown has a thread of its own.
TEST_F(CliTest, AShutdownInRealTimeIsOverBeforeThePluginIsDisabled) {
    const std::string scenario = Write("s.jsonl", "{\"t\":500,\"shutdown\":true}\n{\"plugin\":\"disable\"}\n");
    const auto [status, output] =
        RunHost("replay " + scenario + " --real-time --settle 0 --journal - --log-level DEBUG");
    EXPECT_EQ(status, 0) << output;
    EXPECT_NE(output.find("\"kind\":\"shutdown\",\"callbacks\":1"), std::string::npos) << output;
}

}  // namespace
}  // namespace ZYRA::Host
