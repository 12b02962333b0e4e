// SPDX-License-Identifier: Apache-2.0
// All work that writes into the scene database, when its process is killed or the power is cut.

#include <sqlite3.h>

#include <csignal>

#include "tests/top_scene/power_cut_disk.h"
#include "tests/top_scene/training_points_test.h"

namespace ZYRA::ResourceSchedule {
namespace {

struct Work {
    const char* name;
    void (*start)(TopSceneManager& manager);
    size_t states;        // Before, between and after its transactions. Each scene of a flush is one.
    int launched = 0;     // Scenes that wait to be flushed.
    int64_t seconds = 0;  // Since the last training. Before the start -1, and without a file -2.
};
const Work WORKS[] = {
    {"Creation", [](TopSceneManager& manager) { manager.Init(128); }, 1, 0, -2},
    {"StartWithAnotherSize", [](TopSceneManager& manager) { manager.Init(64); }, 2, 0, -1},
    {"BundleRemoved", [](TopSceneManager& manager) { manager.HandleBundleStateChangeEvent("com.example.app2", false); },
     2},
    {"FlushOf50", [](TopSceneManager& /*manager*/) {}, 51, 50},
    {"ScreenOff", [](TopSceneManager& manager) { manager.HandleScreenOffEvent(); }, 13, 12},
    // The handler only posts the flush. Where the process ends before that has run, what was launched since the last
    // flush is not counted: at most 49 scenes.
    {"Shutdown", [](TopSceneManager& manager) { manager.HandleShutdownEvent(); }, 22, 21},
    {"Training", [](TopSceneManager& manager) { manager.HandleScreenOffEvent(); }, 12, 0, 240},
};

struct Fault {
    const char* name;
    Host::FaultPlan plan;
    const char* sqlOnOpen = nullptr;
};
constexpr uint32_t OTHER_CHANGES = Host::FILE_SYNC | Host::FILE_DELETE;
const Fault FAULTS[] = {
    {"KilledBeforeAWrite", {Host::FileFault::KILLS, Host::FILE_WRITE}},
    {"KilledHalfwayThroughAWrite", {Host::FileFault::KILLS_HALFWAY, Host::FILE_WRITE}},
    {"KilledBeforeAnotherChange", {Host::FileFault::KILLS, OTHER_CHANGES}},
    // For one of the flushes. That it is found out shows that the others can be.
    {"KilledWithoutAJournal", {Host::FileFault::KILLS, Host::FILE_WRITE}, "PRAGMA journal_mode=OFF"},
};

class DatabaseKillTest : public TrainingPointsTest, public ::testing::WithParamInterface<Work> {
protected:
    // Runs it on every connection that is opened from now on. Null ends that.
    static void RunOnOpen(const char* sql) {
        static const char* sqlOnOpen;
        sqlOnOpen = sql;
        sqlite3_reset_auto_extension();
        if (sql != nullptr) {
            const auto run = [](sqlite3* connection, char**, const sqlite3_api_routines*) {
                return sqlite3_exec(connection, sqlOnOpen, nullptr, nullptr, nullptr);
            };
            sqlite3_auto_extension(reinterpret_cast<void (*)()>(+run));
        }
    }
    // Replaces the files, without a connection to them.
    void Put(const Files& files) {
        CloseDatabase();
        std::filesystem::remove(DATABASE);
        std::filesystem::remove(JOURNAL);
        for (const auto& [path, bytes] : files) {
            std::ofstream(path, std::ios::binary) << bytes;
        }
    }
    Files FilesBefore() const { return IsCreation() ? Files() : Files{{DATABASE, prepared_}}; }
    bool IsCreation() const { return GetParam().seconds == -2; }

    // Goes on from those files up to where only the work is left to do.
    void Prepare() {
        Put(FilesBefore());
        if (GetParam().seconds >= 0) {
            Start();
            runtime_.RunUntil(GetParam().seconds * 1000000);
        }
        // The first of them are in the prepared temp table. The last one of 50 is launched once, as that flushes.
        for (int number = 339; number < 339 + 3 * GetParam().launched; number += 3) {
            Launch("com.example.app" + std::to_string(number % 5) + "/EntryAbility.pages.feature.number" +
                       std::to_string(number),
                   1 + number % 2);
        }
    }
    void Do() {
        GetParam().start(manager_);
        RunTasks();
    }
    // What a start finds. From a database that was being created it has to go on, and then to count.
    LearningState Read() {
        if (IsCreation()) {
            Start();
            Launch("com.example.app1/NextAbility.page");
            manager_.HandleShutdownEvent();
            RunTasks();
            CloseDatabase();
        }
        return StateOnDisk();
    }
    // Where that stands among the states that the work reaches.
    size_t Position() {
        try {
            const auto reached = std::find(reached_.begin(), reached_.end(), Read());
            return reached != reached_.end() ? static_cast<size_t>(reached - reached_.begin()) : MIXED;
        } catch (const std::exception&) {
            return BROKEN;
        }
    }

    // Does the work once and takes down the states that it reaches. Counts, of all that a power cut could leave after
    // each of its calls, what opens and passes SQLite's check, and how old the state is.
    std::map<std::string, uint64_t> CutEverywhere(const std::string& name, size_t stride) {
        std::vector<Host::FileChange> trace;
        Prepare();
        vfs_.Record(&trace);
        Do();
        CloseDatabase();
        vfs_.Record(nullptr);
        RunOnOpen(nullptr);

        PowerCutDisk disk(FilesBefore());
        std::map<std::string, uint64_t> found;
        for (size_t call = 0; call < trace.size(); ++call) {
            disk.Do(trace[call]);
            // A transaction ends with the deletion of its journal.
            if (call == 0 || trace[call].kind == Host::FileChange::DELETED) {
                Put(disk.Seen());
                if (const LearningState state = Read(); call == 0 || state != reached_.back()) {
                    reached_.push_back(state);
                }
            }
            for (const Files& files : call % stride == 0 ? disk.LeftByPowerCut() : std::set<Files>()) {
                Put(files);
                const size_t position = Position();
                const size_t later = reached_.size() - 1 - position;
                ++found[position == BROKEN  ? "broken"
                        : position == MIXED ? "mixed"
                        : later > 1         ? "lacking more than the last transaction"
                        : later == 1        ? "lacking the last transaction"
                                            : "whole"];
            }
        }
        Report(name + GetParam().name, (trace.size() - 1) / stride + 1);
        for (const auto& [outcome, images] : found) {
            std::cout << "    " << outcome << ": " << images << "\n";
        }
        return found;
    }

    static constexpr size_t BROKEN = SIZE_MAX;
    static constexpr size_t MIXED = SIZE_MAX - 1;

    std::vector<LearningState> reached_;
};

// SQLite does not sync the end of a transaction: the last one may be undone, as a whole.
TEST_P(DatabaseKillTest, PowerCutLeavesEachTransactionOldOrNew) {
    auto found = CutEverywhere("PowerCut", POINT_STRIDE);
    found.erase("lacking the last transaction");
    EXPECT_EQ(found.size(), found.count("whole"));
    EXPECT_EQ(reached_.size(), GetParam().states);
    if (GetParam().seconds > 0) {
        EXPECT_EQ(reached_.back(), model_.Train(before_, TRAIN_TIMES + 1, Now()));
    }
}

// Shows that the test above can find something: it does where SQLite syncs nothing.
TEST_P(DatabaseKillTest, PowerCutIsFoundOutWithoutSyncs) {
    RunOnOpen("PRAGMA synchronous=OFF");
    auto found = CutEverywhere("PowerCutWithoutSyncs", 7);
    EXPECT_GT(found["broken"] + found["mixed"], 0u);
}

// For N = 1, 2, 3 ... until the work is untouched: (a) a child opens the database, works, and is killed at its N-th
// call of the kind; (b) what it leaves opens, passes SQLite's check, and holds a state that the undisturbed work
// reaches, none before that of the last point.
TEST_P(DatabaseKillTest, KillLeavesEachTransactionOldOrNew) {
    CutEverywhere("PowerCutSeldom", 97);
    for (size_t fault = 0; fault < (GetParam().launched == 12 ? std::size(FAULTS) : 3); ++fault) {
        const char* const sqlOnOpen = FAULTS[fault].sqlOnOpen;
        Host::FaultPlan plan = FAULTS[fault].plan;
        uint64_t points = 0;
        uint64_t found = 0;
        size_t last = 0;
        for (bool hasStruck = true; hasStruck; plan.first += sqlOnOpen != nullptr ? 1 : POINT_STRIDE) {
            const auto work = [&] {
                RunOnOpen(sqlOnOpen);
                Prepare();
                vfs_.Arm(plan);
                Do();
                _exit(0);
            };
            const auto ends = [&](int status) {
                hasStruck = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
                return hasStruck || status == 0;
            };
            ASSERT_EXIT(work(), ends, "");
            const size_t position = Position();
            found += position >= reached_.size() || position < last ? 1 : 0;
            last = position;
            points += hasStruck ? 1 : 0;
        }
        EXPECT_EQ(last, reached_.size() - 1);
        EXPECT_EQ(found > 0, sqlOnOpen != nullptr) << found << " of " << points;
        Report(FAULTS[fault].name + std::string("In") + GetParam().name +
                   (found > 0 ? "Found" + std::to_string(found) : ""),
               points);
    }
}

std::string NameOf(const ::testing::TestParamInfo<Work>& info) {
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(Works, DatabaseKillTest, ::testing::ValuesIn(WORKS), NameOf);

}  // namespace
}  // namespace ZYRA::ResourceSchedule
