// SPDX-License-Identifier: Apache-2.0
// Every operation on a file of the facility goes wrong once: those of a start, a page, a forced stop, a shutdown, a
// dump, and of a scene that is forgotten.

#include <iostream>
#include <map>

#include "exact_preread/work_state_info.h"
#include "frame/common/io_sched_event_callback.h"
#include "frame/common/io_sched_event_util.h"
#include "frame/resource_type.h"
#include "host/services/power_service.h"
#include "tests/support/plugin_on_device_test.h"

namespace ZYRA::ResourceSchedule {
namespace {

enum class Then {
    GOES_ON,               // What follows is done as if nothing had been.
    GOES_ON_WITHOUT_NEXT,  // The same, but for the write that follows: it needs what was read.
    GOES_ON_ELSEWHERE,     // What follows is done on the other monitor.
    ENDS,                  // The work fails: what follows is the work's end.
};

// An access of the path: an opening, then one read or write. Either of both may go wrong, with the same result.
struct Access {
    std::string file;
    const char* operation;
    Then then;
    const char* log = nullptr;  // The text that tells it.
    Effects end = {};
    Effects nextStartFirst = {};  // What the next start has to clean up.
};
using Accesses = std::vector<Access>;

const Effects NOTHING_BOUND = {};
const Effects ABORT = {"monitor0/workingset.state <- ABORT"};
const Effects DETACH_AND_ABORT = {"cgroup.procs <- 3121", "monitor0/workingset.state <- ABORT"};
constexpr char PREREAD_FAILS[] = "str: Start_app_start_up_preread failed.";
constexpr char COLLECT_FAILS[] = "str: Start_app_start_up_collect failed.";
constexpr char PAGE_FAILS[] = "str: Start_app_instra_preread_collect failed.";
constexpr char PAUSE_FAILS[] = "str: Pause_collect failed.";
constexpr char STOP_FAILS[] = "str: Stop_current failed.";
constexpr char ABORT_FAILS[] = "str: Abort_current failed.";

Accesses Joined(std::initializer_list<Accesses> parts) {
    Accesses all;
    for (const Accesses& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

// A monitor that does not say its state counts as busy.
Accesses Binding(const char* log) {
    return {{"monitor0/workingset.state", "read", Then::GOES_ON_ELSEWHERE},
            {"monitor0/workingset.data", "write", Then::ENDS, log, NOTHING_BOUND},
            {"monitor0/workingset.data", "read", Then::ENDS, log, NOTHING_BOUND}};
}
const Accesses COLLECTING = {{"monitor0/workingset.data", "write", Then::ENDS, COLLECT_FAILS, ABORT},
                             {"monitor0/workingset.state", "write", Then::ENDS, COLLECT_FAILS, ABORT},
                             {"monitor0/cgroup.procs", "write", Then::ENDS, COLLECT_FAILS, ABORT}};
const Accesses STOPPING = {
    {"monitor0/workingset.state", "write", Then::ENDS, PAUSE_FAILS, DETACH_AND_ABORT},
    {"monitor0/cgroup.procs", "read", Then::ENDS, STOP_FAILS, {}, DETACH_AND_ABORT},
    {"cgroup.procs", "write", Then::ENDS, STOP_FAILS, {}, DETACH_AND_ABORT},
    {"monitor0/workingset.state", "write", Then::ENDS, STOP_FAILS, {}, ABORT},
};
const Accesses ABORTING = {
    {"monitor0/cgroup.procs", "read", Then::ENDS, ABORT_FAILS, {}, DETACH_AND_ABORT},
    {"cgroup.procs", "write", Then::ENDS, ABORT_FAILS, {}, DETACH_AND_ABORT},
    {"monitor0/workingset.state", "write", Then::ENDS, ABORT_FAILS, {}, ABORT},
};
const Accesses PREREADING = {{"workingset.dfxerror", "read", Then::GOES_ON},
                             {"monitor0/workingset.state", "write", Then::ENDS, PREREAD_FAILS, ABORT}};
const Accesses SERVING_A_PAGE = {{"workingset.dfxerror", "read", Then::GOES_ON},
                                 {"monitor0/workingset.state", "write", Then::ENDS, PAGE_FAILS, ABORT},
                                 {"monitor0/workingset.clearYoung", "write", Then::ENDS, PAGE_FAILS, ABORT},
                                 {"monitor0/cgroup.procs", "write", Then::ENDS, PAGE_FAILS, ABORT}};
// What a forced stop cannot do it leaves.
const Accesses STOPPING_BY_FORCE = {
    {"monitor0/cgroup.procs", "read", Then::GOES_ON_WITHOUT_NEXT, "failed to read file"},
    {"cgroup.procs", "write", Then::GOES_ON, "failed to detach pids from cgroup."},
    {"monitor0/workingset.state", "write", Then::GOES_ON_ELSEWHERE, "to state:ABORT failed."}};
const Accesses REPORT = {{"workingset.dfxinfo", "read", Then::ENDS, "failed to read dfxinfo"},
                         {"workingset.dfxinfo", "write", Then::ENDS, "failed to reset dfxinfo"}};
const Accesses BACKUP = {{"monitor0/workingset.state", "write", Then::GOES_ON, "backup all records in cache failed."}};

enum class Way {
    COLD_START,
    COLD_START_WITH_RECORD,
    TIMED_OUT_START,
    PAGE,
    FORCED_STOP,
    SHUTDOWN,
    DUMP,
    FORGOTTEN_SCENE
};

struct Path {
    const char* name;
    Way way;
    Accesses accesses;
};

const Path PATHS[] = {
    {"cold start", Way::COLD_START, Joined({Binding(PREREAD_FAILS), COLLECTING, STOPPING})},
    {"cold start with a record", Way::COLD_START_WITH_RECORD,
     Joined({Binding(PREREAD_FAILS), PREREADING, COLLECTING, STOPPING})},
    {"start without a page", Way::TIMED_OUT_START, Joined({Binding(PREREAD_FAILS), COLLECTING, ABORTING})},
    {"page", Way::PAGE, Joined({Binding(PAGE_FAILS), SERVING_A_PAGE, STOPPING})},
    {"forced stop and start", Way::FORCED_STOP,
     Joined({STOPPING_BY_FORCE, Binding(PREREAD_FAILS), COLLECTING, STOPPING})},
    {"shutdown", Way::SHUTDOWN, Joined({BACKUP, REPORT})},
    {"dump", Way::DUMP, REPORT},
    {"forgotten scene",
     Way::FORGOTTEN_SCENE,
     {{"workingset.clearRecord", "write", Then::ENDS, "] clear scene record cache:"}}},
};

struct Kind {
    const char* name;
    const char* fault;
    bool isNoticed;  // Whether the plugin is told of a failure.
    bool isOfWritesOnly;
};

const Kind KINDS[] = {
    {"EIO", R"({"errno": "EIO"})", true, false},       {"EBUSY", R"({"errno": "EBUSY"})", true, false},
    {"ENOENT", R"({"errno": "ENOENT"})", true, false}, {"EINTR", R"({"errno": "EINTR"})", false, false},
    {"ShortWrite", R"({"short": true})", true, true},  {"Late", R"({"delayMs": 300})", false, false},
};

class KernelFaultTest : public PluginOnDeviceTest, public ::testing::WithParamInterface<Kind> {
protected:
    struct Application {
        std::string bundle;
        std::string uid;
        std::string pid;
    };
    const Application mail_{"com.example.mail", "20010034", "3121"};
    const Application maps_{"com.example.maps", "20010035", "3121"};
    const Application news_{"com.example.news", "20010036", "3121"};

    void SetUp() override {
        PluginOnDeviceTest::SetUp();
        Start();
    }

    static void Append(Effects& effects, const Effects& more) {
        effects.insert(effects.end(), more.begin(), more.end());
    }

    Effects Send(uint32_t resType, int64_t value, const Application& app) {
        return PluginOnDeviceTest::Send(resType, value,
                                        {{"bundleName", app.bundle},
                                         {"uid", app.uid},
                                         {"pid", app.pid},
                                         {"clientPid", app.pid},
                                         {"pageUrl", "pages/Index"}});
    }
    Effects ShowPage(const Application& app) {
        Effects effects = Send(RES_TYPE_PUSH_PAGE, 0, app);
        RunFor(200);
        Append(effects, Send(RES_TYPE_PUSH_PAGE, 1, app));
        RunFor(20000);
        Append(effects, TakeEffects());
        return effects;
    }
    Effects StartProcess(const Application& app) {
        Send(RES_TYPE_USER_INPUT, 1, app);
        RunFor(10);
        Effects effects = Send(RES_TYPE_ABILITY_START, 1, app);
        RunFor(180);
        Append(effects, Send(RES_TYPE_PROCESS_START, 0, app));
        RunFor(60);
        return effects;
    }
    Effects ColdStart(const Application& app) {
        Effects effects = StartProcess(app);
        Append(effects, ShowPage(app));
        return effects;
    }

    // The device as it is before each point: idle, and what was recorded gone, or older.
    void Prepare(Way way) {
        const bool isFirst = way != Way::COLD_START_WITH_RECORD && way != Way::PAGE;
        nlohmann::json scenes;
        for (const char* scene : {"com.example.mail/com.example.mail", "com.example.mail/EntryAbility.pages.Index"}) {
            scenes[scene] = {{"record", isFirst ? "absent" : "older"}};
        }
        for (const char* scene : {"com.example.maps/com.example.maps", "com.example.news/com.example.news"}) {
            scenes[scene] = {{"record", "absent"}};
        }
        device_->Apply({{"scenes", scenes},
                        {"kernel", {{"faults", nullptr}, {"monitors", nullptr}, {"dfxinfo", {{"succ", 1u}}}}}});
        if (way == Way::FORCED_STOP) {
            StartProcess(mail_);
        }
        TakeEffects();
    }
    Effects Take(Way way) {
        Effects effects;
        switch (way) {
            case Way::COLD_START:
            case Way::COLD_START_WITH_RECORD:
                return ColdStart(mail_);
            case Way::TIMED_OUT_START:
                effects = StartProcess(mail_);
                break;
            case Way::PAGE:
                PluginOnDeviceTest::Send(RES_TYPE_USER_INPUT, 1, {});
                RunFor(10);
                return ShowPage(mail_);
            case Way::FORCED_STOP:
                return ColdStart(maps_);
            case Way::SHUTDOWN:
                Host::PowerService::GetInstance().Shutdown();
                break;
            case Way::DUMP: {
                std::string result;
                manager_.Dump({"-dfx"}, result);
                break;
            }
            case Way::FORGOTTEN_SCENE:
                IOSchedEventUtil::GetInstance().GetIOSchedEventCallback()->OnTopSceneDecay(
                    std::make_shared<std::vector<std::string>>(std::vector<std::string>{"com.example.mail/page"}));
                break;
        }
        RunFor(20000);
        Append(effects, TakeEffects());
        return effects;
    }

    // What the path does when one operation of the access goes wrong, made of what it does when none does.
    static Effects Expected(Effects effects, const Accesses& accesses, size_t struck, bool isRefusal) {
        const auto isWrite = [](const std::string& effect) { return effect.find(" <- ") != std::string::npos; };
        const Access& access = accesses[struck];
        const bool isOfWrite = access.operation == std::string("write");
        const auto before = std::count_if(accesses.begin(), accesses.begin() + static_cast<std::ptrdiff_t>(struck),
                                          [](const Access& other) { return other.operation == std::string("write"); });
        auto at = effects.begin();
        for (auto writes = before; writes > 0 && at != effects.end(); ++at) {
            writes -= isWrite(*at) ? 1 : 0;
        }
        if (isOfWrite || access.then == Then::GOES_ON_WITHOUT_NEXT) {
            at = std::find_if(at, effects.end(), isWrite);
            if (at == effects.end()) {
                return {"the path has fewer writes than its table"};
            }
            if (isRefusal) {
                at->replace(at->find(" <- "), 4, " refuses ");
                ++at;
            } else {
                at = effects.erase(at);
            }
        }
        if (access.then == Then::ENDS) {
            effects.erase(at, effects.end());
            Append(effects, access.end);
        } else if (access.then == Then::GOES_ON_ELSEWHERE) {
            std::transform(at, effects.end(), at, OnTheOtherMonitor);
        }
        return effects;
    }
    static std::string OnTheOtherMonitor(std::string effect) {
        for (const char* name : {"monitor0", "\"index\":\"0"}) {
            if (const size_t found = effect.find(name); found != std::string::npos) {
                effect[found + std::string(name).size() - 1] = '1';
            }
        }
        return effect;
    }
    static Effects OnTheFirstMonitor(Effects effects) {
        for (std::string& effect : effects) {
            if (effect.starts_with("monitor1")) {
                effect[std::string("monitor").size()] = '0';
            }
        }
        return effects;
    }

    // Lets the N-th operation of the path go wrong. Returns false when the path has none.
    bool TryPoint(const Path& path, const Effects& untouched, size_t point) {
        Prepare(path.way);
        nlohmann::json fault = nlohmann::json::parse(GetParam().fault);
        fault.update({{"path", "/dev/workingset/**"}, {"op", "any"}, {"skip", point}});
        device_->Apply({{"kernel", {{"faults", {fault}}}}});
        const auto countFailures = [this] { return CountLogs("execute cmd:"); };
        const size_t failuresBefore = countFailures();
        std::map<const char*, size_t> logsBefore;
        for (const Access& access : path.accesses) {
            logsBefore[access.log] = access.log == nullptr ? 0 : CountLogs(access.log);
        }
        TakeFaults();
        Effects effects = Take(path.way);
        const std::vector<std::string> struck = TakeFaults();
        if (struck.empty()) {
            EXPECT_EQ(effects, untouched);
            return false;
        }
        const size_t index = IndexOf(path.accesses, point);
        if (index >= path.accesses.size()) {
            ADD_FAILURE() << struck.front() << " is not an access of the path";
            return false;
        }
        const Access& access = path.accesses[index];
        const bool isOpen = !GetParam().isOfWritesOnly && point % 2 == 0;
        EXPECT_EQ(struck, Effects{(isOpen ? "open" : access.operation) + (" /dev/workingset/" + access.file)});
        if (!GetParam().isNoticed) {
            // The first try, when it is a write.
            std::erase_if(effects,
                          [](const std::string& effect) { return effect.find(" refuses ") != std::string::npos; });
            EXPECT_EQ(effects, untouched);
            EXPECT_EQ(countFailures(), failuresBefore);
            ExpectNextStartWorks({});
            return true;
        }
        const bool isRefusal = !isOpen && access.operation == std::string("write");
        EXPECT_EQ(effects, Expected(untouched, path.accesses, index, isRefusal));
        const bool isFailure = access.log != nullptr && std::string(access.log).starts_with("str: ");
        EXPECT_EQ(countFailures() - failuresBefore, isFailure ? 1u : 0u);
        EXPECT_TRUE(access.log == nullptr || CountLogs(access.log) == logsBefore[access.log] + 1) << access.log;
        ExpectNextStartWorks(access.nextStartFirst);
        return true;
    }
    // The access that the N-th operation belongs to.
    static size_t IndexOf(const Accesses& accesses, size_t point) {
        if (!GetParam().isOfWritesOnly) {
            return point / 2;
        }
        size_t index = 0;
        for (; index < accesses.size(); ++index) {
            if (accesses[index].operation == std::string("write") && point-- == 0) {
                break;
            }
        }
        return index;
    }
    // The fault is gone: a start does all that it should, once it has cleaned up what was left.
    void ExpectNextStartWorks(Effects expected) {
        Append(expected, nextStart_);
        EXPECT_EQ(OnTheFirstMonitor(ColdStart(news_)), expected);
        EXPECT_EQ(WorkStateInfo::GetInstance()->workState, 0);
    }

    Effects nextStart_;
};

// For N = 1, 2, 3 ... until the path passes untouched:
// (a) the device is idle, or collects where the path is a forced stop, and the N-th operation on a file goes wrong;
// (b) the path does what it should do then, and no more;
// (c) the fault is gone: the next start of another application works.
TEST_P(KernelFaultTest, EndsAsItShouldAndTheNextStartWorks) {
    Prepare(Way::COLD_START);
    nextStart_ = ColdStart(news_);
    std::string tried;
    size_t sum = 0;
    for (const Path& path : PATHS) {
        Prepare(path.way);
        const Effects untouched = Take(path.way);
        ColdStart(news_);
        size_t points = 0;
        while (TryPoint(path, untouched, points) && !HasFailure()) {
            ++points;
        }
        EXPECT_EQ(IndexOf(path.accesses, points), path.accesses.size()) << path.name << " has operations less";
        ASSERT_FALSE(HasFailure()) << path.name << ", operation " << points + 1;
        tried += std::string(tried.empty() ? "" : ", ") + path.name + " " + std::to_string(points);
        sum += points;
    }
    std::cout << "tried: " << GetParam().name << " (" << tried << "), " << sum << " points\n";
}

std::string NameOf(const ::testing::TestParamInfo<Kind>& info) {
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(Kinds, KernelFaultTest, ::testing::ValuesIn(KINDS), NameOf);

}  // namespace
}  // namespace ZYRA::ResourceSchedule
