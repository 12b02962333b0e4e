// SPDX-License-Identifier: Apache-2.0
#include "platform/event_log.h"

#include <map>

#include "host/runtime/journal.h"
#include "host/runtime/task_runtime.h"
#include "platform/mutex.h"

namespace ZYRA {

namespace {

constexpr int64_t PERIOD_US = EventLog::EVENT_LOG_PERIOD_S * 1000000;
constexpr int32_t REFUSED_BY_LIMITER = -10;

class RateLimiter {
public:
    bool Admit(const std::string& domain, const std::string& name) {
        const int64_t nowUs = Host::TaskRuntime::Current().ElapsedUs();
        MutexLock lock(mutex_);
        Period& period = periods_[domain + '/' + name];
        const bool isOver = nowUs - period.startUs >= PERIOD_US || nowUs < period.startUs;
        if (isOver || period.count == 0) {
            period = {nowUs, 0};
        }
        if (period.count == EventLog::EVENT_LOG_MAX_PER_PERIOD) {
            return false;
        }
        ++period.count;
        return true;
    }

private:
    struct Period {
        int64_t startUs = 0;
        uint32_t count = 0;
    };

    Mutex mutex_;
    std::map<std::string, Period> periods_ GUARDED_BY(mutex_);
};

}  // namespace

int32_t EventLog::Write(const std::string& domain, const std::string& name, EventLogType type,
                        std::initializer_list<EventLogParam> params) {
    static RateLimiter limiter;
    if (!limiter.Admit(domain, name)) {
        return REFUSED_BY_LIMITER;
    }
    Host::SysEventEntry entry{domain, name, type, {}};
    for (const auto& [key, value] : params) {
        entry.params.emplace_back(key, value);
    }
    Host::Journal::GetInstance().Append(std::move(entry));
    return 0;
}

}  // namespace ZYRA
