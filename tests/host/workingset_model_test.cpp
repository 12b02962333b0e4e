// SPDX-License-Identifier: Apache-2.0
#include "host/kernel/workingset_model.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <cerrno>
#include <map>
#include <string>
#include <vector>

#include "host/kernel/modelled_pages.h"

namespace ZYRA::Host {
namespace {

const std::string SCENE = "com.example.mail/com.example.mail";
const std::string OTHER_SCENE = "com.example.maps/Main.pages with blank";

std::string SceneLineOf(const std::string& scene, const std::string& pid = "42") {
    return "1000 " + pid + " " + scene + " /data/service/el1/public/ressched/workingset/" + scene;
}

std::string Bound(const std::string& state, const std::string& scene, const std::string& pid = "42") {
    return "RecordState:" + state + "\nUid: 1000\nPid: " + pid + "\nName: " + scene + "\n";
}

class WorkingsetModelTest : public ::testing::Test {
protected:
    int Write(const std::string& name, const std::string& content) { return model_.Write(name, content); }
    std::string Read(const std::string& name) {
        std::string content;
        EXPECT_EQ(model_.Read(name, content), 0) << name;
        return content;
    }
    void WriteAll(const std::vector<std::pair<std::string, std::string>>& writes) {
        for (const auto& [name, content] : writes) {
            ASSERT_EQ(Write(name, content), 0) << name << " <- " << content;
        }
    }
    // Everything that can be read.
    std::map<std::string, std::string> ReadAll() {
        std::map<std::string, std::string> contents;
        for (const ControlFile& file : model_.List()) {
            std::string content;
            if (model_.Read(file.name, content) == 0) {
                contents[std::string(file.name)] = content;
            }
        }
        return contents;
    }

    ModelledPages pages_;
    WorkingsetModel model_{pages_};
};

TEST_F(WorkingsetModelTest, CollectsAndPrereadsAScene) {
    WriteAll({{"monitor0/workingset.data", SceneLineOf(SCENE, "0")},
              {"monitor0/workingset.data", SceneLineOf(SCENE)},
              {"monitor0/workingset.state", "INWORKING"},
              {"monitor0/cgroup.procs", "42"}});
    EXPECT_EQ(Read("monitor0/workingset.data"), Bound("absent", SCENE));
    EXPECT_EQ(Read("monitor0/cgroup.procs"), "42\n");
    WriteAll({{"monitor0/workingset.state", "PAUSED"}, {"cgroup.procs", "42"}, {"monitor0/workingset.state", "STOP"}});
    EXPECT_EQ(Read("monitor0/workingset.state"), "OUTOFWORK");
    EXPECT_EQ(Read("monitor0/cgroup.procs"), "");
    EXPECT_EQ(Read("monitor0/workingset.data"), Bound("uptodate", SCENE));

    WriteAll({{"monitor1/workingset.data", SceneLineOf(OTHER_SCENE)}});
    model_.Preread(0);
    model_.Preread(1);
    model_.Preread(7);
    EXPECT_EQ(Read("workingset.dfxinfo"), "Succ: 1\nFail: 2\nSize: " + std::to_string(5200 * 4096) + "\n");
    EXPECT_EQ(Read("workingset.dfxerror"), "2");
    WriteAll({{"workingset.dfxinfo", "0"}, {"workingset.clearRecord", SCENE}});
    EXPECT_EQ(Read("workingset.dfxinfo"), "Succ: 0\nFail: 0\nSize: 0\n");
    EXPECT_EQ(Read("monitor0/workingset.data"), Bound("absent", SCENE));
}

TEST_F(WorkingsetModelTest, OnlyWhatWasCollectedForTheBoundSceneBecomesItsRecord) {
    const struct {
        const char* story;
        std::vector<std::pair<std::string, std::string>> writes;
        std::string state;  // Of the record.
        std::string word;
    } rows[] = {
        {"nothing was attached", {{"state", "INWORKING"}, {"state", "STOP"}}, "absent", "OUTOFWORK"},
        {"attached, but never at work", {{"procs", "42"}, {"state", "STOP"}}, "absent", "OUTOFWORK"},
        {"attached while paused", {{"state", "PAUSED"}, {"procs", "42"}, {"state", "STOP"}}, "uptodate", "OUTOFWORK"},
        {"aborted", {{"state", "INWORKING"}, {"procs", "42"}, {"state", "ABORT"}}, "absent", "ABORT"},
        {"bound to another scene in between",
         {{"state", "INWORKING"}, {"procs", "42"}, {"data", SceneLineOf(OTHER_SCENE)}, {"procs", "x"}},
         "absent",
         "INWORKING"},
    };
    const std::map<std::string, std::string> files = {{"state", "monitor1/workingset.state"},
                                                      {"procs", "monitor1/cgroup.procs"},
                                                      {"data", "monitor1/workingset.data"}};
    for (const auto& row : rows) {
        ModelledPages pages;
        WorkingsetModel model(pages);
        model.Write("monitor1/workingset.data", SceneLineOf(SCENE));
        for (const auto& [file, content] : row.writes) {
            model.Write(files.at(file), content);
        }
        std::string data;
        std::string word;
        model.Read("monitor1/workingset.data", data);
        model.Read("monitor1/workingset.state", word);
        EXPECT_EQ(data.substr(0, data.find('\n')), "RecordState:" + row.state) << row.story;
        EXPECT_EQ(word, row.word) << row.story;
    }
}

TEST_F(WorkingsetModelTest, FilesTakeTheirCommandsOnly) {
    const std::string directory = "/data/service/el1/public/ressched/workingset/";
    const struct {
        const char* file;
        std::string content;
        int error;
        std::string shown;  // Afterwards, by the same file; "-" where it shows nothing to anybody.
    } rows[] = {
        {"monitor0/workingset.state", "OUTOFWORK", EINVAL, "OUTOFWORK"},
        {"monitor0/workingset.state", "PREREAD\n", 0, "PREREAD"},
        {"monitor0/workingset.state", "BACKUP", 0, "PREREAD"},
        {"monitor0/workingset.state", "STOP ", EINVAL, "PREREAD"},
        {"monitor0/workingset.state", "STOP\n\n", EINVAL, "PREREAD"},
        {"monitor0/workingset.state", std::string("STOP\0", 5), EINVAL, "PREREAD"},
        {"monitor0/workingset.state", "STOP", 0, "OUTOFWORK"},
        {"monitor1/workingset.state", "BACKUP", EINVAL, "OUTOFWORK"},
        {"monitor1/workingset.state", "ABORT", 0, "ABORT"},
        {"monitor0/cgroup.procs", "0", EINVAL, ""},
        {"monitor0/cgroup.procs", "+7", EINVAL, ""},
        {"monitor0/cgroup.procs", "2147483648", EINVAL, ""},
        {"monitor0/cgroup.procs", "2147483647", 0, "2147483647\n"},
        {"monitor0/tasks", "7", 0, "2147483647\n7\n"},
        {"monitor0/workingset.clearYoung", "-7", EINVAL, "-"},
        {"monitor0/workingset.clearYoung", "7", 0, "-"},
        {"workingset.clearRecord", "nobody/knows", 0, "-"},
        {"workingset.clearRecord", std::string(8193, 'a'), EINVAL, "-"},
        {"workingset.clearRecord", std::string(8192, 'a') + "\n", 0, "-"},
        {"workingset.dfxinfo", "1", EINVAL, "Succ: 0\nFail: 0\nSize: 0\n"},
        {"workingset.dfxerror", "0", EACCES, "0"},
        {"monitor0/workingset.data", "1 -2 a/a " + directory + "a/a", EINVAL, ""},
        {"monitor0/workingset.data", "1 2  " + directory + "a/a", EINVAL, ""},
        {"monitor0/workingset.data", "1 2 a/a " + directory, EINVAL, ""},
        {"monitor0/workingset.data", "1 2 a/a", EINVAL, ""},
        {"monitor0/workingset.data", "-1 0 a b " + directory + "x y", 0,
         "RecordState:absent\nUid: -1\nPid: 0\nName: a b\n"},
        // A name that holds the directory itself: the path that belongs to the name decides.
        {"monitor0/workingset.data", "1 2 a " + directory + "b " + directory + "a " + directory + "b", 0,
         "RecordState:absent\nUid: 1\nPid: 2\nName: a " + directory + "b\n"},
        {"monitor0/nonsense", "1", ENOENT, "-"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Write(row.file, row.content), row.error) << row.file << " <- " << row.content;
        std::string shown = "-";
        model_.Read(row.file, shown);
        EXPECT_EQ(shown, row.shown) << row.file << " <- " << row.content;
    }
}

TEST_F(WorkingsetModelTest, AProcessIsInOneGroupAtATime) {
    WriteAll({{"monitor0/cgroup.procs", "7"}, {"monitor0/cgroup.procs", "5"}, {"monitor1/cgroup.procs", "7"}});
    EXPECT_EQ(Read("monitor0/cgroup.procs"), "5\n");
    EXPECT_EQ(Read("monitor1/cgroup.procs"), "7\n");
    WriteAll({{"cgroup.procs", "5\n"}});
    EXPECT_EQ(Read("monitor0/cgroup.procs"), "");
}

// Else a long run would look through all that ever were. What a monitor works on stays until its work ends.
TEST_F(WorkingsetModelTest, AProcessThatHasEndedIsForgotten) {
    WriteAll({{"cgroup.procs", "1"}, {"cgroup.procs", "2"}, {"monitor0/cgroup.procs", "3"}});
    for (const int32_t pid : {2, 3, 4}) {
        model_.RemoveProcess(pid);
    }
    EXPECT_EQ(Read("cgroup.procs"), "1\n");
    EXPECT_EQ(Read("monitor0/cgroup.procs"), "3\n");
}

TEST_F(WorkingsetModelTest, PresetsHoldAtOnce) {
    pages_.SetPages(SCENE, 10);
    pages_.SetRecord(SCENE, RecordState::OLDER);
    model_.SetMonitorState(0, "STUCK");
    model_.SetDfxInfo(4, 1, "0x10");
    model_.SetDfxError("1");
    WriteAll({{"monitor0/workingset.data", SceneLineOf(SCENE)}});
    EXPECT_EQ(Read("monitor0/workingset.state"), "STUCK");
    EXPECT_EQ(Read("monitor0/workingset.data"), Bound("older", SCENE));
    EXPECT_EQ(Read("workingset.dfxinfo"), "Succ: 4\nFail: 1\nSize: 0x10\n");
    model_.Preread(0);
    EXPECT_EQ(Read("workingset.dfxinfo"), "Succ: 5\nFail: 1\nSize: " + std::to_string(16 + 10 * 4096) + "\n");
    EXPECT_EQ(Read("workingset.dfxerror"), "1");
}

// Whatever is refused changes nothing, and only what the table allows is taken.
RC_GTEST_FIXTURE_PROP(WorkingsetModelTest, RefusedWritesChangeNothing, ()) {
    const auto files = model_.List();
    std::vector<std::string> contents = {
        "INWORKING", "PAUSED", "STOP",  "ABORT", "BACKUP", "OUTOFWORK",   "inworking", "",         "0",    "1",
        "-1",        "42",     "42 43", " 42",   "0x2A",   "99999999999", "\n",        "STOP\n\n", "\xff", "1 2 a /x"};
    for (const std::string& line :
         {SCENE, SceneLineOf(SCENE), SceneLineOf(OTHER_SCENE), SceneLineOf(SCENE) + " ", std::string(8193, '1')}) {
        contents.push_back(line);
    }
    const auto steps = *rc::gen::container<std::vector<std::pair<size_t, size_t>>>(
        rc::gen::pair(rc::gen::inRange<size_t>(0, files.size()), rc::gen::inRange<size_t>(0, contents.size())));
    for (const auto& [file, content] : steps) {
        const auto before = ReadAll();
        const int error = Write(std::string(files[file].name), contents[content]);
        if (error != 0) {
            RC_ASSERT(ReadAll() == before);
        }
        RC_ASSERT(Read("monitor0/workingset.state") != "BACKUP");
    }
}

}  // namespace
}  // namespace ZYRA::Host
