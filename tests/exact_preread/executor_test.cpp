// SPDX-License-Identifier: Apache-2.0
// The executor against the kernel's files: what it writes in which state, and what is left when a file fails.

#include "exact_preread/exact_preread_executor.h"

#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "tests/support/virtual_device_test.h"

namespace ZYRA::ResourceSchedule {
namespace {

namespace fs = std::filesystem;
using Effects = std::vector<std::string>;
using enum ExecutorCommand;

const std::string SCENE = "com.a/com.a";
const std::string RECORDS = "/data/service/el1/public/ressched/workingset/";
const std::string SCENE_LINE = "1000 42 com.a/com.a " + RECORDS + SCENE;

class ExecutorTest : public Host::VirtualDeviceTest {
protected:
    void SetUp() override {
        VirtualDeviceTest::SetUp();
        fs::remove_all(RECORDS);
        executor_ = std::make_unique<ExactPrereadExecutor>();
        Bind(WorkTask::COLLECT);
    }
    void TearDown() override {
        work_->ResetCurrentWork();
        executor_.reset();
        VirtualDeviceTest::TearDown();
    }

    void Bind(WorkTask task, int32_t pid = 42) {
        SceneInfo scene{1000, pid, task, true, SCENE};
        work_->BindNewScene(scene);
    }
    // Runs the command and gives what it did.
    Effects Run(ExecutorCommand command) {
        executor_->ExecuteCommand(command);
        return TakeEffects();
    }
    void SetFault(const std::string& path, const std::string& operation, uint64_t skip = 0) {
        device_->Apply(
            {{"kernel",
              {{"faults",
                {{{"path", "/dev/workingset/" + path}, {"op", operation}, {"errno", "EIO"}, {"skip", skip}}}}}}});
    }
    void SetRecord(const std::string& state) { device_->Apply({{"scenes", {{SCENE, {{"record", state}}}}}}); }
    void SetMonitor(const std::string& monitor, const std::string& state) {
        device_->Apply({{"kernel", {{"monitors", {{monitor, {{"state", state}}}}}}}});
    }

    std::shared_ptr<WorkStateInfo> work_ = WorkStateInfo::GetInstance();
    std::unique_ptr<ExactPrereadExecutor> executor_;
};

TEST_F(ExecutorTest, CollectPauseAndStopLeaveAFreeMonitor) {
    EXPECT_EQ(Run(CMD_START_APP_STARTUP_COLLECT),
              (Effects{"monitor0/workingset.data <- " + SCENE_LINE, "monitor0/workingset.state <- INWORKING",
                       "monitor0/cgroup.procs <- 42"}));
    EXPECT_EQ(work_->workState, WORK_BOUND | WORK_COLLECTING);
    struct stat status {};
    ASSERT_EQ(lstat((RECORDS + SCENE).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u);
    ASSERT_EQ(lstat((RECORDS + "com.a").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0700u);
    EXPECT_EQ(Run(CMD_PAUSE_COLLECT), (Effects{"monitor0/workingset.state <- PAUSED"}));
    EXPECT_EQ(Run(CMD_PAUSE_COLLECT), Effects());
    EXPECT_EQ(Run(CMD_PAUSE_ALL_COLLECT), (Effects{"cgroup.procs <- 42", "monitor0/workingset.state <- PAUSED"}));
    EXPECT_EQ(work_->workState, WORK_BOUND | WORK_PAUSED);
    EXPECT_EQ(Run(CMD_CONTINUE_APP_STARTUP_COLLECT), (Effects{"monitor0/cgroup.procs <- 42"}));
    EXPECT_EQ(work_->workState, WORK_BOUND | WORK_COLLECTING);
    EXPECT_EQ(Run(CMD_STOP_CURRENT), (Effects{"cgroup.procs <- 42", "monitor0/workingset.state <- STOP"}));
    EXPECT_EQ(work_->workState, 0);
    EXPECT_EQ(work_->monitorIdx, -1);
}

TEST_F(ExecutorTest, DetachStopsAtTheFirstProcessThatCannotBeMoved) {
    for (const std::string pid : {"12", "13", "14"}) {
        ASSERT_TRUE(SaveStringToFile("/dev/workingset/monitor1/cgroup.procs", pid, false));
    }
    TakeEffects();
    SetFault("cgroup.procs", "write", 1);
    EXPECT_FALSE(executor_->DetachAllProcessFromCgroup(1));
    EXPECT_EQ(TakeEffects(), (Effects{"cgroup.procs <- 12", "cgroup.procs refuses 13"}));
    EXPECT_EQ(ReadFile("/dev/workingset/monitor1/cgroup.procs"), "13\n14\n");
}

// Only a scene that came to a regular pause is kept by a forced stop, and only one that is still paused goes on.
TEST_F(ExecutorTest, ForcedStopKeepsOnlyWhatWasPaused) {
    for (const auto& [task, word] : {std::pair{WorkTask::PAUSE_COLLECT, "STOP"}, {WorkTask::COLLECT, "ABORT"}}) {
        Run(CMD_START_APP_STARTUP_COLLECT);
        Run(CMD_PAUSE_COLLECT);
        work_->sceneInfo.curTask = task;
        executor_->ForceStopCurrentWork();
        EXPECT_EQ(TakeEffects().back(), std::string("monitor0/workingset.state <- ") + word);
        SetRecord("absent");
        Bind(WorkTask::COLLECT);
    }
    Run(CMD_START_APP_STARTUP_COLLECT);
    Run(CMD_PAUSE_COLLECT);
    SetMonitor("0", "INWORKING");
    EXPECT_EQ(Run(CMD_CONTINUE_APP_STARTUP_COLLECT),
              (Effects{"cgroup.procs <- 42", "monitor0/workingset.state <- ABORT"}));
}

TEST_F(ExecutorTest, FourthBusyReadingTakesTheFirstMonitorOver) {
    SetMonitor("0", "INWORKING");
    SetMonitor("1", "STUCK");
    int8_t monitor = -1;
    for (int attempt = 0; attempt < 3; ++attempt) {
        EXPECT_FALSE(executor_->GetAvailableMonitor(monitor));
        EXPECT_EQ(monitor, -1);
    }
    // Taken over even though the reset fails.
    SetFault("monitor0/workingset.state", "write");
    EXPECT_TRUE(executor_->GetAvailableMonitor(monitor));
    EXPECT_EQ(monitor, 0);
    EXPECT_EQ(CountLogs("ResetMonitor 0, abort failed."), 1u);
    // The count of the second one goes on where it was.
    monitor = -1;
    EXPECT_TRUE(executor_->GetAvailableMonitor(monitor));
    EXPECT_EQ(monitor, 1);
    EXPECT_EQ(ReadFile("/dev/workingset/monitor1/workingset.state"), "ABORT");
}

TEST_F(ExecutorTest, SecondMonitorIsTakenAndKept) {
    SetMonitor("0", "PAUSED");
    Run(CMD_START_APP_STARTUP_PREREAD);
    EXPECT_EQ(work_->monitorIdx, 1);
    SetMonitor("0", "OUTOFWORK");
    EXPECT_EQ(Run(CMD_START_APP_STARTUP_COLLECT).front(), "monitor1/workingset.data <- " + SCENE_LINE);
}

TEST_F(ExecutorTest, UnknownCommandsAndBadArgumentsTouchNothing) {
    EXPECT_EQ(Run(static_cast<ExecutorCommand>(9)), Effects());
    EXPECT_EQ(CountLogs("unexpected cmd: 9."), 1u);
    EXPECT_EQ(work_->workState, 0);
    std::string state;
    EXPECT_FALSE(executor_->GetMonitorState(2, state));
    EXPECT_FALSE(executor_->WriteSceneInfoToMonitor(work_->sceneInfo, -1));
    EXPECT_FALSE(executor_->BindCurrentSceneToMonitor(2));
    EXPECT_FALSE(executor_->ChangeMonitorPropertyContent("/dev/workingset/cgroup.procs", ""));
    EXPECT_FALSE(executor_->ChangeMonitorPropertyContent("/dev/workingset/missing", "1"));
    EXPECT_EQ(TakeEffects(), Effects());
}

TEST_F(ExecutorTest, RecordsAreRemovedFileByFile) {
    ASSERT_TRUE(executor_->CreateSceneRecordFile("com.a/com.a"));
    ASSERT_TRUE(executor_->CreateSceneRecordFile("com.a/Main.pages.Index"));
    std::ofstream(RECORDS + "com.a/com.a") << "kept";
    EXPECT_TRUE(executor_->CreateSceneRecordFile("com.a/com.a"));
    EXPECT_EQ(ReadFile(RECORDS + "com.a/com.a"), "kept");
    for (const std::string name : {"", "com.a", "/x", "com.a/"}) {
        EXPECT_FALSE(executor_->CreateSceneRecordFile(name)) << name;
    }
    EXPECT_FALSE(executor_->CreateSceneRecordFile("com.a/" + std::string(300, 'x')));

    fs::create_directory(RECORDS + "com.a/folder");
    fs::create_symlink("/etc/passwd", RECORDS + "com.a/link");
    EXPECT_FALSE(executor_->RemoveBundleRecord("com.a"));
    EXPECT_FALSE(fs::exists(RECORDS + "com.a/com.a"));
    EXPECT_TRUE(fs::exists(RECORDS + "com.a/folder"));
    EXPECT_EQ(TakeEffects().size(), 2u);
    fs::remove_all(RECORDS + "com.a/folder");
    fs::remove(RECORDS + "com.a/link");
    EXPECT_TRUE(executor_->RemoveBundleRecord("com.a"));
    EXPECT_FALSE(executor_->RemoveBundleRecord("com.a"));
    // What is not there still leaves the kernel's cache.
    executor_->RemoveSceneRecord("com.a/com.a");
    EXPECT_EQ(TakeEffects(), (Effects{"workingset.clearRecord <- com.a/com.a"}));
}

// (a) Something else stands where the record directory should be; (b) it is gone, but until there is another executor
// no record is made; (c) the kernel's files are gone as well: every command fails, and says so once.
TEST_F(ExecutorTest, WithoutARecordDirectoryOrAFacilityTheWorkFails) {
    fs::remove_all(RECORDS);
    fs::rename(fs::path(RECORDS).parent_path().parent_path(), "/data/away");
    executor_ = std::make_unique<ExactPrereadExecutor>();
    fs::rename("/data/away", fs::path(RECORDS).parent_path().parent_path());
    EXPECT_FALSE(executor_->CreateSceneRecordFile(SCENE));
    EXPECT_EQ(CountLogs("IsRecordDirectoryExisted_: 0"), 1u);
    EXPECT_TRUE(ExactPrereadExecutor().CreateSceneRecordFile(SCENE));

    device_.reset();
    for (const ExecutorCommand command :
         {CMD_START_APP_STARTUP_PREREAD, CMD_START_APP_STARTUP_COLLECT, CMD_START_APP_INTRA_PREREAD_COLLECT}) {
        EXPECT_EQ(Run(command), Effects());
        EXPECT_EQ(work_->workState, WORK_FAILED);
        work_->workState = 0;
    }
    EXPECT_EQ(CountLogs("execute cmd:"), 3u);
    executor_->ReportExactPrereadDfx();
    executor_->RemoveSceneRecord(SCENE);
    EXPECT_FALSE(fs::exists(RECORDS + SCENE));
    EXPECT_EQ(CountLogs("clear scene record cache: com.a/com.a failed"), 1u);
}

TEST_F(ExecutorTest, StatisticsAreAveragedAndReset) {
    const struct {
        std::string info;
        std::string report;  // Empty for none.
    } rows[] = {
        {R"({"succ":4,"fail":1,"size":4096})", R"({"FAIL_CNT":1,"PREREAD_SIZE":1024,"SUCC_CNT":4})"},
        {R"({"succ":0,"fail":2,"size":100})", R"({"FAIL_CNT":2,"PREREAD_SIZE":100,"SUCC_CNT":0})"},
        {R"({"succ":1,"fail":0,"size":"0x10"})", R"({"FAIL_CNT":0,"PREREAD_SIZE":16,"SUCC_CNT":1})"},
        {R"({"succ":0,"fail":0,"size":7})", ""},
    };
    for (const auto& row : rows) {
        nlohmann::json patch;
        patch["kernel"]["dfxinfo"] = nlohmann::json::parse(row.info);
        device_->Apply(patch);
        executor_->ReportExactPrereadDfx();
        Effects expected = {"workingset.dfxinfo <- 0"};
        if (!row.report.empty()) {
            expected.push_back("EXACT_PREREAD_REPORT " + row.report);
        }
        EXPECT_EQ(TakeEffects(), expected) << row.info;
    }
}

TEST_F(ExecutorTest, FailureCodesAreComparedAsTheyStand) {
    const std::pair<std::string, std::string> rows[] = {
        {"0", ""},
        {"", ""},
        {"1", "exact_preread create file page fail"},
        {"2", "exact_preread read file page fail"},
        {"7", "Unkown reason, please check log"},
        {"1\n", "Unkown reason, please check log"},
    };
    for (const auto& [code, reason] : rows) {
        device_->Kernel().Workingset().SetDfxError(code);
        executor_->ReportExactPrereadFailureDfx(work_->sceneInfo);
        const Effects effects = TakeEffects();
        ASSERT_EQ(effects.size(), reason.empty() ? 0u : 1u) << code;
        if (!reason.empty()) {
            EXPECT_NE(effects[0].find(R"("FAIL_REASON":")" + reason), std::string::npos) << effects[0];
            EXPECT_NE(effects[0].find(R"("BUNDLE_NAME":"com.a/com.a")"), std::string::npos) << effects[0];
        }
    }
}

TEST_F(ExecutorTest, FaultAroundIsSwitchedOnAndRecordsAreBackedUp) {
    EXPECT_TRUE(executor_->EnableExactFaultAround());
    EXPECT_EQ(ReadFile("/proc/sys/kernel/ws_fault_around"), "1\n");
    EXPECT_TRUE(executor_->BackupAllRecords());
    EXPECT_EQ(TakeEffects().back(), "monitor0/workingset.state <- BACKUP");
}

}  // namespace
}  // namespace ZYRA::ResourceSchedule
