// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

namespace ZYRA::ResourceSchedule {

// The files of the kernel's workingset facility, and the words that its state files understand.

constexpr char FAULT_AROUND_SWITCH[] = "/proc/sys/kernel/ws_fault_around";
constexpr char RECORD_DIRECTORY[] = "/data/service/el1/public/ressched/workingset/";
constexpr char WORKINGSET_ROOT[] = "/dev/workingset/";
constexpr char MONITOR_PREFIX[] = "/dev/workingset/monitor";

constexpr char PROCS_FILE[] = "cgroup.procs";
constexpr char TASKS_FILE[] = "tasks";
constexpr char CLEAR_RECORD_FILE[] = "workingset.clearRecord";
constexpr char CLEAR_YOUNG_FILE[] = "workingset.clearYoung";
constexpr char STATE_FILE[] = "workingset.state";
constexpr char DATA_FILE[] = "workingset.data";
constexpr char FAILURE_INFO_FILE[] = "workingset.dfxerror";
constexpr char STATISTICS_FILE[] = "workingset.dfxinfo";

// A monitor in any other state than OUTOFWORK and ABORT is busy, one in an unknown state too.
constexpr char STATE_INWORKING[] = "INWORKING";
constexpr char STATE_OUTOFWORK[] = "OUTOFWORK";
constexpr char STATE_PAUSED[] = "PAUSED";
constexpr char STATE_STOP[] = "STOP";
constexpr char STATE_ABORT[] = "ABORT";
constexpr char STATE_PREREAD[] = "PREREAD";
constexpr char STATE_BACKUP[] = "BACKUP";

constexpr int8_t MONITOR_COUNT = 2;

inline bool IsMonitor(int8_t monitorIdx) {
    return monitorIdx >= 0 && monitorIdx < MONITOR_COUNT;
}

// The path of a control file of a monitor.
inline std::string MonitorFile(int8_t monitorIdx, const char* file) {
    std::string path;
    path.reserve(64);  // Of the longest of them there are some 50.
    return path.append(MONITOR_PREFIX).append(std::to_string(monitorIdx)).append("/").append(file);
}

}  // namespace ZYRA::ResourceSchedule
