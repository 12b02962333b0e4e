// SPDX-License-Identifier: Apache-2.0
// Statistics and failures of the prereads, from the kernel to the system events.

#include <string_view>

#include "exact_preread/exact_preread_executor.h"
#include "exact_preread/preread_statistics.h"
#include "exact_preread/workingset_paths.h"
#include "frame/common/file_system.h"
#include "frame/common/io_sched_log.h"
#include "platform/event_log.h"
#include "platform/file_util.h"
#include "platform/mutex.h"

namespace ZYRA::ResourceSchedule {

namespace {

constexpr char EVENT_DOMAIN[] = "RSS";

Mutex reportMutex;

struct FailureReason {
    std::string_view code;
    const char* reason;
};

constexpr FailureReason FAILURE_REASONS[] = {
    {"1", "exact_preread create file page fail"},
    {"2", "exact_preread read file page fail"},
};

const char* ReasonOf(std::string_view code) {
    for (const FailureReason& known : FAILURE_REASONS) {
        if (known.code == code) {
            return known.reason;
        }
    }
    return "Unkown reason, please check log";
}

std::string DfxFile(const char* file) {
    return std::string(WORKINGSET_ROOT) + "/" + file;
}

}  // namespace

void ExactPrereadExecutor::ReportExactPrereadDfx() {
    // The main queue, a dump and the shutdown may all come at once: what is read is reset before anyone else reads it.
    const MutexLock lock(reportMutex);
    const std::string path = DfxFile(STATISTICS_FILE);
    std::string realPath;
    if (!FileSystem::GetRealPath(path, realPath)) {
        EP_LOGE("failed to get file real path: %{private}s", path.c_str());
        return;
    }
    std::vector<std::string> lines;
    if (!FileSystem::ReadLinesFromFile(realPath, lines)) {
        EP_LOGE("failed to read dfxinfo");
        return;
    }
    if (!SaveStringToFile(realPath, "0", false)) {
        EP_LOGE("failed to reset dfxinfo");
        return;
    }
    const PrereadStatistics statistics = ParseStatistics(lines);
    if (statistics.IsEmpty()) {
        return;
    }
    EventLog::Write(
        EVENT_DOMAIN, "EXACT_PREREAD_REPORT", EventLogType::STATISTIC,
        {{"SUCC_CNT", statistics.succ}, {"FAIL_CNT", statistics.fail}, {"PREREAD_SIZE", statistics.AverageSize()}});
}

void ExactPrereadExecutor::ReportExactPrereadFailureDfx(const SceneInfo& scene) {
    std::string realPath;
    if (!FileSystem::GetRealPath(DfxFile(FAILURE_INFO_FILE), realPath)) {
        return;
    }
    std::string content;
    if (!LoadStringFromFile(realPath, content)) {
        EP_LOGE("failed to read dfxerror");
        return;
    }
    if (content.empty() || content == "0") {
        EP_LOGD("preread no failure");
        return;
    }
    EventLog::Write(EVENT_DOMAIN, "EXACT_PREREAD_FAULT", EventLogType::FAULT,
                    {{"APP_UID", scene.uid},
                     {"APP_PID", scene.pid},
                     {"BUNDLE_NAME", scene.sceneName},
                     {"FAIL_REASON", std::string(ReasonOf(content))}});
}

}  // namespace ZYRA::ResourceSchedule
