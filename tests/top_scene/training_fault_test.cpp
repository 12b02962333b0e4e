// SPDX-License-Identifier: Apache-2.0
// A training whose every call to the file system fails once, or fails from then on.

#include "tests/top_scene/training_points_test.h"

namespace ZYRA::ResourceSchedule {
namespace {

struct FaultKind {
    const char* name;
    Host::FaultPlan plan;
};

class TrainingFaultTest : public TrainingPointsTest, public ::testing::WithParamInterface<FaultKind> {
protected:
    // Trains with the fault at the N-th call. Returns whether it has struck.
    bool TrainWithFault(uint64_t point) {
        Host::FaultPlan plan = GetParam().plan;
        plan.first = point;
        logs_.Take();
        vfs_.Arm(plan);
        ScreenOff();
        const bool hasStruck = vfs_.Disarm();
        traces_ = {.missedTempRows = logs_.Has("E query all temp scene failed."),
                   .missedScenes = logs_.Has("E failed to query active top scene"),
                   .published = callback_->published};
        return hasStruck;
    }
    // Trains again, with one more launch.
    void ExpectNextTrainingWorks(LearningState before) {
        PassSeconds(240);
        before.temp.emplace_back("com.example.app1/NextAbility.page", 1);
        Launch("com.example.app1/NextAbility.page");
        ScreenOff();
        CloseDatabase();
        const int trainTimes = TRAIN_TIMES + 1 + (traces_.published.has_value() ? 1 : 0);
        EXPECT_EQ(ReadState(DATABASE, Host::FaultVfs::RealName()), model_.Train(before, trainTimes, Now()));
        EXPECT_FALSE(std::filesystem::exists(JOURNAL));
    }

    TrainingTraces traces_;
};

// For N = 1, 2, 3 ... until a training passes untouched:
// (a) the database is opened by the start of the plugin, and its N-th call in the training fails;
// (b) the file opens, passes SQLite's check, and holds the old or the new state of each transaction;
// (c) the set that was published is the ranking of what the training could read;
// (d) the fault is gone: the next training, on the connection that saw it or on a new one, does all that it should.
TEST_P(TrainingFaultTest, LeavesEachTransactionOldOrNew) {
    uint64_t points = 0;
    uint64_t partlyTrained = 0;
    uint64_t partlyRanked = 0;
    bool hasStruck = true;
    for (uint64_t point = 1; hasStruck; point += POINT_STRIDE) {
        SCOPED_TRACE("call " + std::to_string(point));
        StartPoint();
        hasStruck = TrainWithFault(point);
        const LearningState after = StateOnDisk();
        ASSERT_EQ(model_.Judge(before_, after, TrainedHistory(), traces_), "");
        if (points % 2 == 0) {
            CloseDatabase();
            ASSERT_EQ(StateOnDisk(), after);
        }
        if (hasStruck) {
            ++points;
            partlyTrained += traces_.missedTempRows && traces_.published.has_value() ? 1 : 0;
            partlyRanked += traces_.missedScenes ? 1 : 0;
        } else {
            EXPECT_EQ(after, model_.Train(before_, TRAIN_TIMES + 1, Now()));
        }
        ExpectNextTrainingWorks(after);
        ASSERT_FALSE(HasFailure());
    }
    EXPECT_GT(points, 5u);
    if (POINT_STRIDE == 1 && (GetParam().plan.calls & Host::FILE_READ) != 0) {
        EXPECT_GT(partlyTrained, 0u) << "no training went on with the launches that it could read";
        EXPECT_GT(partlyRanked, 0u);
    }
    Report(GetParam().name, points);
}

constexpr uint32_t CHANGES = Host::FILE_WRITE | Host::FILE_TRUNCATE | Host::FILE_SYNC | Host::FILE_DELETE;

const FaultKind KINDS[] = {
    {"FailsOnce", {Host::FileFault::FAILS, Host::FILE_CALLS, 1, false}},
    {"FailsFromThenOn", {Host::FileFault::FAILS, Host::FILE_CALLS, 1, true}},
    {"DiskFullOnce", {Host::FileFault::FAILS_AS_FULL, Host::FILE_WRITE, 1, false}},
    {"DiskFullFromThenOn", {Host::FileFault::FAILS_AS_FULL, Host::FILE_WRITE, 1, true}},
    {"FailsOnceAlthoughDone", {Host::FileFault::FAILS_DONE, CHANGES, 1, false}},
    {"FailsFromThenOnAlthoughDone", {Host::FileFault::FAILS_DONE, CHANGES, 1, true}},
};

std::string NameOf(const ::testing::TestParamInfo<FaultKind>& info) {
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(Kinds, TrainingFaultTest, ::testing::ValuesIn(KINDS), NameOf);

}  // namespace
}  // namespace ZYRA::ResourceSchedule
