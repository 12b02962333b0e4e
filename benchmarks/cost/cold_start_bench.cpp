// A cold start on the plugin's main queue, from the ability's start to the stop of its scene: the time of the processor
// and the system calls of each step, next to a program that makes only the file operations.
//
//   bench_cold_start [--rounds N] [--starts N] [--calls] [--plugin PATH]
//
// Exit codes: 0 done, 1 not.

#include <time.h>

#include <CLI/CLI.hpp>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

#include "benchmarks/cost/lean_start.h"
#include "benchmarks/cost/main_queue.h"
#include "benchmarks/cost/measure.h"
#include "benchmarks/cost/system_calls.h"
#include "host/replay/plugin_library.h"
#include "host/replay/virtual_device.h"
#include "host/sandbox/sandbox.h"
#include "platform/executor_client.h"
#include "platform/file_util.h"

namespace ZYRA::ResourceSchedule {

// The executor is another process, whose work is not the main queue's: in the place of the device's stands one that
// takes requests and does nothing, and has an answer ready for the one that is waited for.
static nlohmann::json nextReply;

void ExecutorClient::SendRequestAsync(uint32_t /*resType*/, int64_t /*value*/, const nlohmann::json& /*payload*/) {}

int32_t ExecutorClient::SendRequestSync(uint32_t /*resType*/, int64_t /*value*/, const nlohmann::json& /*payload*/,
                                        nlohmann::json& reply) {
    reply = std::exchange(nextReply, {});
    return 0;
}

}  // namespace ZYRA::ResourceSchedule

namespace ZYRA::Bench {
namespace {

namespace fs = std::filesystem;

constexpr char RECORDS[] = "/data/service/el1/public/ressched/workingset";
constexpr char BUNDLE[] = "com.example.mail";
constexpr char SCENE[] = "com.example.mail/com.example.mail";
constexpr int UID = 20010034;
constexpr int PID = 3121;
constexpr int BACKGROUND_PROCESSES = 6;
constexpr int FIRST_BACKGROUND_PID = 5000;

enum Step : size_t { ABILITY_START, PROCESS_START, PAGE_START, PAGE_COMPLETE, DELAY_TIMEOUT, STOP, STEP_COUNT };
constexpr const char* STEP_NAMES[] = {"ability start", "process start", "page start",
                                      "page complete", "delay time-out", "stop"};

struct Case {
    const char* title;
    const char* record;
};
constexpr Case CASES[] = {{"first start, nothing recorded yet: collected", "absent"},
                          {"the record is older than its files: preread and collected", "older"},
                          {"the record is up to date: preread", "uptodate"}};

template <typename Value>
using BySteps = std::array<Value, STEP_COUNT>;

void Fill(const fs::path& file, const std::string& content) {
    std::ofstream(file) << content;
}

// What stands behind the control files.
class Device {
public:
    virtual ~Device() = default;
    // The device is as before the start of a scene whose record has that state.
    virtual void Prepare(const char* record) = 0;
};

// The virtual device, whose kernel answers every operation.
class AnsweringDevice final : public Device {
public:
    explicit AnsweringDevice(const Host::DeviceModel& model) : device_(Host::VirtualDevice::Start(model, error_)) {
        if (device_ == nullptr) {
            throw std::runtime_error(error_);
        }
    }
    void Prepare(const char* record) override { device_->Apply({{"scenes", {{SCENE, {{"record", record}}}}}}); }

private:
    std::string error_;
    const std::unique_ptr<Host::VirtualDevice> device_;
};

// Plain files in memory, the quickest that there are, filled beforehand with what is going to be asked.
class PlainFiles final : public Device {
public:
    explicit PlainFiles(const Host::DeviceModel& model) {
        Host::DeviceServices::GetInstance().Set(model.state);
        fs::create_directories(MONITOR);
        Fill(ROOT / "cgroup.procs", "");
        Fill(ROOT / "workingset.dfxerror", "0");
    }
    void Prepare(const char* record) override {
        Fill(MONITOR / "workingset.state", "OUTOFWORK");
        Fill(MONITOR / "cgroup.procs", "");
        // The line of the scene is written over the first one.
        Fill(MONITOR / "workingset.data",
             std::string(200, ' ') + "\nRecordState:" + record + "\nUid: 1\nPid: 0\nName: " + SCENE + "\n");
    }

private:
    const fs::path ROOT = "/dev/workingset";
    const fs::path MONITOR = ROOT / "monitor0";
};

// What the work that is handed to it takes.
class Meter {
public:
    // Counts system calls instead of time, which tracing makes longer.
    void CountCalls(SystemCalls* calls) { calls_ = calls; }
    void Run(const std::function<void()>& work) {
        if (calls_ != nullptr) {
            calls_->Take();
            work();
            for (const auto& [number, count] : calls_->Take()) {
                counts_[number] += count;
            }
        } else {
            const int64_t before = NowNs();
            work();
            ns_ += NowNs() - before;
        }
        ++runs_;
    }
    int64_t TakeNs() { return std::exchange(ns_, 0); }
    CallCounts TakeCounts() { return std::exchange(counts_, {}); }
    int TakeRuns() { return std::exchange(runs_, 0); }

private:
    static int64_t NowNs() {
        timespec now{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
        return now.tv_sec * 1000000000LL + now.tv_nsec;
    }

    SystemCalls* calls_ = nullptr;
    int64_t ns_ = 0;
    CallCounts counts_;
    int runs_ = 0;
};

struct Costs {
    BySteps<int64_t> ns{};
    BySteps<CallCounts> calls;
};

class ColdStarts {
public:
    ColdStarts(Device& device, MainQueueRuntime& runtime, const Host::PluginLibrary& plugin, Meter& meter)
        : device_(device), runtime_(runtime), plugin_(plugin), meter_(meter) {}

    void RunPlugin(const Case& one, Costs& costs) {
        Prepare(one);
        // The devices's time-outs for 8 GB of memory: the stop is 5 s behind the page, the pause half a second.
        const nlohmann::json payload = {{"bundleName", BUNDLE},
                                        {"uid", std::to_string(UID)},
                                        {"pid", std::to_string(PID)},
                                        {"clientPid", std::to_string(PID)},
                                        {"pageUrl", "pages/Index"}};
        Send(27, 1, payload);
        Note(ABILITY_START, costs);
        Send(4, 0, payload);
        Note(PROCESS_START, costs);
        Send(10, 0, payload);
        Note(PAGE_START, costs);
        Send(10, 1, payload);
        Note(PAGE_COMPLETE, costs);
        runtime_.RunFor(500000);
        Note(DELAY_TIMEOUT, costs);
        runtime_.RunFor(4500000);
        Note(STOP, costs);
        runtime_.RunFor(20000000);
    }

    void RunLean(const Case& one, Costs& costs) {
        Prepare(one);
        LeanStart start(BUNDLE, UID, PID);
        RunLeanStep(ABILITY_START, costs, [&start] { return start.AbilityStart(); });
        RunLeanStep(PROCESS_START, costs, [&start] { return start.ProcessStart(); });
        RunLeanStep(PAGE_START, costs, [] { return true; });
        RunLeanStep(PAGE_COMPLETE, costs, [] { return true; });
        RunLeanStep(DELAY_TIMEOUT, costs, [&start] { return start.DelayTimeout(); });
        RunLeanStep(STOP, costs, [&start] { return start.Stop(); });
    }

private:
    void Prepare(const Case& one) {
        if (std::string_view(one.record) == "absent") {
            fs::remove_all(fs::path(RECORDS) / BUNDLE);
        } else {
            fs::create_directories(fs::path(RECORDS) / BUNDLE);
            std::ofstream(fs::path(RECORDS) / SCENE, std::ios::app);
        }
        device_.Prepare(one.record);
        // The processes of the background are in the limited group already.
        ResourceSchedule::nextReply = {{"list", nlohmann::json::array()}};
        for (int number = 0; number < BACKGROUND_PROCESSES; ++number) {
            ResourceSchedule::nextReply["list"].push_back(std::to_string(FIRST_BACKGROUND_PID + number));
        }
        meter_.TakeNs();
        meter_.TakeCounts();
        meter_.TakeRuns();
    }
    void Send(uint32_t type, int64_t value, const nlohmann::json& payload) {
        plugin_.Dispatch(std::make_shared<ResourceSchedule::ResData>(ResourceSchedule::ResData{type, value, payload}));
        runtime_.RunFor(0);
    }
    void RunLeanStep(Step step, Costs& costs, const std::function<bool()>& work) {
        bool isDone = false;
        meter_.Run([&] { isDone = work(); });
        if (!isDone) {
            throw std::runtime_error(std::string("the lean start fails: ") + STEP_NAMES[step]);
        }
        Note(step, costs);
    }
    void Note(Step step, Costs& costs) {
        if (meter_.TakeRuns() != 1) {
            throw std::runtime_error(std::string("not one task: ") + STEP_NAMES[step]);
        }
        costs.ns[step] += meter_.TakeNs();
        costs.calls[step] = meter_.TakeCounts();
    }

    Device& device_;
    MainQueueRuntime& runtime_;
    const Host::PluginLibrary& plugin_;
    Meter& meter_;
};

// Microseconds a start, round by round. The last row is the whole start.
struct Times {
    std::array<std::vector<double>, STEP_COUNT + 1> us;

    void Add(const Costs& costs, int starts, double emptyNs) {
        double wholeNs = 0;
        for (size_t step = 0; step < STEP_COUNT; ++step) {
            const double ns = static_cast<double>(costs.ns[step]) / starts - emptyNs;
            wholeNs += ns;
            us[step].push_back(ns / 1000);
        }
        us[STEP_COUNT].push_back(wholeNs / 1000);
    }
};

int Sum(const CallCounts& counts) {
    return std::accumulate(counts.begin(), counts.end(), 0, [](int sum, const auto& one) { return sum + one.second; });
}

void PrintTable(const Times& plugin, const Times& lean, const Costs* pluginCalls, const Costs* leanCalls) {
    std::vector<std::string> header = {"step", "plugin µs", "file operations µs", "ratio"};
    if (pluginCalls != nullptr) {
        header.insert(header.end(), {"plugin's calls", "needed calls"});
    }
    Table table(std::move(header));
    int pluginSum = 0;
    int leanSum = 0;
    for (size_t step = 0; step <= STEP_COUNT; ++step) {
        const bool isWhole = step == STEP_COUNT;
        const double leanUs = SpreadOf(lean.us[step]).median;
        const bool isEmpty = leanUs < 0.5;
        std::vector<std::string> cells = {isWhole ? "all" : STEP_NAMES[step],
                                          Text(SpreadOf(plugin.us[step]).median, 1), Text(isEmpty ? 0 : leanUs, 1),
                                          isEmpty ? "nothing to do" : Text(RatioOf(plugin.us[step], lean.us[step]), 2)};
        if (pluginCalls != nullptr) {
            const int pluginCount = isWhole ? pluginSum : Sum(pluginCalls->calls[step]);
            const int leanCount = isWhole ? leanSum : Sum(leanCalls->calls[step]);
            pluginSum += pluginCount;
            leanSum += leanCount;
            cells.insert(cells.end(), {std::to_string(pluginCount), std::to_string(leanCount)});
        }
        table.Add(std::move(cells));
    }
    table.Print();
}

void PrintCalls(const Costs& plugin, const Costs& lean) {
    Table table({"step: call", "plugin", "needed"});
    for (size_t step = 0; step < STEP_COUNT; ++step) {
        std::map<long, std::pair<int, int>> both;
        for (const auto& [number, count] : plugin.calls[step]) {
            both[number].first = count;
        }
        for (const auto& [number, count] : lean.calls[step]) {
            both[number].second = count;
        }
        for (const auto& [number, counts] : both) {
            table.Add({std::string(STEP_NAMES[step]) + ": " + CallName(number), std::to_string(counts.first),
                       std::to_string(counts.second)});
        }
    }
    table.Print();
}

Host::DeviceModel Model() {
    nlohmann::json processes = {
        {std::to_string(PID), {{"uid", UID}, {"bundles", {BUNDLE}}, {"foreground", true}}}};
    for (int number = 0; number < BACKGROUND_PROCESSES; ++number) {
        processes[std::to_string(FIRST_BACKGROUND_PID + number)] = {
            {"uid", UID + 1 + number}, {"bundles", {"com.example.app" + std::to_string(number)}}};
    }
    Host::LocatedJson located;
    located.value = {{"processes", processes}, {"bundles", {{BUNDLE, {{"uid", UID}}}}}};
    Host::DeviceModel model;
    ApplyDevicePatch(Host::JsonNode(located), Host::DevicePhase::DESCRIBING, model);
    return model;
}

struct Options {
    int rounds = 15;
    int starts = 100;
    bool showsCalls = false;
    bool isPlain = false;
    std::string plugin = Host::PluginLibrary::DefaultPath();
};

int Run(const Options& options) {
    const auto calls = SystemCalls::Open();
    Meter meter;
    const Host::DeviceModel model = Model();
    MainQueueRuntime runtime(model.startTimeS, [&meter](const std::function<void()>& task) { meter.Run(task); });
    Host::TaskRuntime::Install(runtime);
    std::string error;
    std::unique_ptr<Device> device;
    if (options.isPlain) {
        device = std::make_unique<PlainFiles>(model);
    } else {
        device = std::make_unique<AnsweringDevice>(model);
    }
    const auto plugin = Host::PluginLibrary::Open(options.plugin, error);
    if (plugin == nullptr) {
        throw std::runtime_error(error);
    }
    plugin->Init();
    runtime.RunFor(5000000);
    ColdStarts starts(*device, runtime, *plugin, meter);
    for (const Case& one : CASES) {
        // Whatever is done once in the life of the process has been done then, and memory has its final size.
        Costs warm;
        for (int start = 0; start < options.starts; ++start) {
            starts.RunPlugin(one, warm);
            starts.RunLean(one, warm);
        }
        Costs pluginCalls;
        Costs leanCalls;
        if (calls != nullptr) {
            meter.CountCalls(calls.get());
            starts.RunPlugin(one, pluginCalls);
            starts.RunLean(one, leanCalls);
            meter.CountCalls(nullptr);
        }
        Times pluginTimes;
        Times leanTimes;
        for (int round = 0; round < options.rounds; ++round) {
            for (int start = 0; start < options.starts; ++start) {
                meter.Run([] {});
            }
            meter.TakeRuns();
            const double emptyNs = static_cast<double>(meter.TakeNs()) / options.starts;
            Costs pluginCosts;
            Costs leanCosts;
            for (int start = 0; start < options.starts; ++start) {
                starts.RunPlugin(one, pluginCosts);
                starts.RunLean(one, leanCosts);
            }
            pluginTimes.Add(pluginCosts, options.starts, emptyNs);
            leanTimes.Add(leanCosts, options.starts, emptyNs);
        }
        std::printf("%s**%s**\n\n", &one == CASES ? "" : "\n", one.title);
        if (options.showsCalls) {
            PrintCalls(pluginCalls, leanCalls);
        } else {
            PrintTable(pluginTimes, leanTimes, calls == nullptr ? nullptr : &pluginCalls, &leanCalls);
        }
    }
    if (calls == nullptr) {
        std::puts("\nSystem calls were not counted: the kernel does not permit tracing here.");
    }
    plugin->Disable();
    return EXIT_SUCCESS;
}

}  // namespace
}  // namespace ZYRA::Bench

int main(int argc, char** argv) {
    using namespace ZYRA::Bench;
    Options options;
    CLI::App app("A cold start on the main queue, next to its file operations.");
    app.add_option("--rounds", options.rounds)->check(CLI::Range(1, 1000));
    app.add_option("--starts", options.starts, "Of each kind, in a round")->check(CLI::Range(1, 100000));
    app.add_flag("--calls", options.showsCalls, "Which calls each makes, by step, in the place of times");
    app.add_flag("--plain", options.isPlain, "The control files are plain files in memory");
    app.add_option("--plugin", options.plugin);
    CLI11_PARSE(app, argc, argv);
    try {
        std::string plugin;
        if (!ZYRA::PathToRealPath(options.plugin, plugin)) {
            throw std::runtime_error("there is no " + options.plugin);
        }
        options.plugin = plugin;
        if (const auto refusal = ZYRA::Host::EnterSandbox({128ULL << 30, ""})) {
            throw std::runtime_error(*refusal);
        }
        return Run(options);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "bench_cold_start: %s\n", failure.what());
        return EXIT_FAILURE;
    }
}
