// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

namespace ZYRA::ResourceSchedule {

// Stage of the work on a scene.
enum class WorkTask : uint8_t {
    NONE = 0,
    APP_STARTUP_PREREAD = 1,
    COLLECT = 2,
    DELAY_COLLECT = 3,
    PAUSE_COLLECT = 4,
    PAUSE_ALL_COLLECT = 5,
    STOP_COLLECT = 6,
};

// Names one scene of one process. A pid of 0 stands for a process that does not exist yet.
struct SceneInfo {
    int32_t uid = -1;
    int32_t pid = -1;
    WorkTask curTask = WorkTask::NONE;
    bool isColdBoot = false;
    // Bundle name, "/", scene inside the application.
    std::string sceneName;
};

// Progress of the executor's work on the bound scene: a set of these bits.
constexpr uint8_t WORK_BOUND = 0x01;
constexpr uint8_t WORK_COLLECTING = 0x02;
constexpr uint8_t WORK_PREREADING = 0x04;
constexpr uint8_t WORK_PAUSED = 0x08;
// Sticky until the work is reset: every start and pause command fails at once while it is set.
constexpr uint8_t WORK_FAILED = 0x80;

// What a monitor reports about the record of the scene that is bound to it.
enum class RecordState : uint8_t {
    RECORD_STATE_UNSET = 0,
    RECORD_STATE_ABSENT = 1,
    RECORD_STATE_UPTODATE = 2,
    RECORD_STATE_OLDER = 3,
};

// One monitor's report.
struct RecordInfo {
    int8_t monitorIdx = -1;
    RecordState state = RecordState::RECORD_STATE_UNSET;
    int32_t uid = -1;
    int32_t pid = -1;
    std::string sceneName;
};

// What the controller asks of the executor.
enum class ExecutorCommand : uint8_t {
    CMD_START_APP_STARTUP_COLLECT = 0,
    CMD_START_APP_STARTUP_PREREAD = 1,
    CMD_CONTINUE_APP_STARTUP_COLLECT = 2,
    CMD_START_APP_INTRA_PREREAD_COLLECT = 3,
    CMD_PAUSE_COLLECT = 4,
    CMD_PAUSE_ALL_COLLECT = 5,
    CMD_STOP_CURRENT = 6,
    CMD_ABORT_CURRENT = 7,
};

}  // namespace ZYRA::ResourceSchedule
