// A training in a process that is killed at a point of its work.

#include <sys/wait.h>

#include <cerrno>
#include <csignal>
#include <exception>

#include "tests/top_scene/training_points_test.h"
#include "top_scene/top_scene_database.h"

namespace ZYRA::ResourceSchedule {
namespace {

struct KillKind {
    const char* name;
    Host::FileFault fault;
    uint32_t calls;
};

const KillKind KINDS[] = {
    {"BeforeAWrite", Host::FileFault::KILLS, Host::FILE_WRITE},
    {"HalfwayThroughAWrite", Host::FileFault::KILLS_HALFWAY, Host::FILE_WRITE},
    {"BeforeASync", Host::FileFault::KILLS, Host::FILE_SYNC},
    {"BeforeATruncationOrDeletion", Host::FileFault::KILLS, Host::FILE_TRUNCATE | Host::FILE_DELETE},
};

class TrainingKillTest : public TrainingPointsTest, public ::testing::WithParamInterface<KillKind> {
protected:
    // Runs it in a child, from the prepared file. Returns whether the child was killed.
    // REQUIRES: no connection to the file is open here.
    template <typename Work>
    bool RunInChild(const Work& work) {
        std::filesystem::remove(JOURNAL);
        std::ofstream(DATABASE, std::ios::binary | std::ios::trunc) << prepared_;
        std::cout.flush();
        const pid_t child = fork();
        if (child == 0) {
            // Nothing of the test program may run at the end of the child.
            work();
            _exit(0);
        }
        int status = 0;
        while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
        }
        EXPECT_TRUE((WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) ||
                    (WIFEXITED(status) && WEXITSTATUS(status) == 0))
            << status;
        return WIFSIGNALED(status);
    }
    Host::FaultPlan PlanAt(uint64_t point) const { return {GetParam().fault, GetParam().calls, point, false}; }
    std::string Judge(const LearningState& after) const {
        return model_.Judge(before_, after, {TRAIN_TIMES + 1, START_S + 240}, {true, false, false, {}});
    }
};

// For N = 1, 2, 3 ... until a training is not killed:
// (a) a child opens the database, trains, and is killed at its N-th call of the kind;
// (b) the file that it leaves opens, passes SQLite's check, and holds the old or the new state of each transaction, no
//     later one without the earlier ones;
// (c) a start and a training in a process that lives work from there.
TEST_P(TrainingKillTest, LeavesEachTransactionOldOrNew) {
    uint64_t points = 0;
    for (uint64_t point = 1;; point += POINT_STRIDE) {
        SCOPED_TRACE("call " + std::to_string(point));
        const bool wasKilled = RunInChild([&] {
            Start();
            PassSeconds(240);
            vfs_.Arm(PlanAt(point));
            ScreenOff();
        });
        const LearningState after = StateOnDisk();
        ASSERT_EQ(Judge(after), "");
        if (!wasKilled) {
            EXPECT_EQ(after, model_.Train(before_, TRAIN_TIMES + 1, START_S + 240));
            break;
        }
        ++points;
    }
    EXPECT_GT(points, 0u);
    Report(GetParam().name, points);
    Start();
    PassSeconds(1000);
    Launch("com.example.app1/NextAbility.page");
    ScreenOff();
    CloseDatabase();
    EXPECT_EQ(ReadState(DATABASE, Host::FaultVfs::RealName()).trainTimes, TRAIN_TIMES + 2);
}

std::string NameOf(const ::testing::TestParamInfo<KillKind>& info) {
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(Kinds, TrainingKillTest, ::testing::ValuesIn(KINDS), NameOf);

class UnprotectedTrainingTest : public TrainingKillTest {};

// Shows that the points above can find something: (a) the first transaction of a training is killed at each point, once
// as it is and once without the journal that protects it; (b) only without the journal is a state found that is neither
// old nor new.
TEST_P(UnprotectedTrainingTest, IsFoundOut) {
    for (const bool isProtected : {true, false}) {
        uint64_t points = 0;
        uint64_t found = 0;
        bool wasKilled = true;
        for (uint64_t point = 1; wasKilled; ++point) {
            wasKilled = RunInChild([&] {
                TopSceneDatabase database("top_scene.db", "/data/service/el1/public/ressched/");
                std::vector<TempSceneRecord> scenes;
                database.QueryAllTempScene(scenes);
                database.ExecuteSql(isProtected ? "PRAGMA journal_mode=DELETE" : "PRAGMA journal_mode=OFF");
                vfs_.Arm(PlanAt(point));
                database.UpdateTopSceneData(0.900324, scenes);
                vfs_.Disarm();
            });
            points += wasKilled ? 1 : 0;
            try {
                found += Judge(StateOnDisk()).empty() ? 0 : 1;
            } catch (const std::exception&) {
                ++found;
            }
        }
        EXPECT_GT(points, 5u);
        EXPECT_EQ(found > 0, !isProtected) << found << " of " << points;
        const std::string name = std::string(GetParam().name) + (isProtected ? "WithJournal" : "WithoutJournal");
        Report(name + "Found" + std::to_string(found), points);
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, UnprotectedTrainingTest, ::testing::Values(KINDS[0], KINDS[1]), NameOf);

}  // namespace
}  // namespace ZYRA::ResourceSchedule
