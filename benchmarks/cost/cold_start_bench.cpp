// SPDX-License-Identifier: Apache-2.0
// A cold start on the plugin's main queue, from the ability's start to the stop of its scene: the time of the processor
// and the system calls of each step, next to a program that makes only the file operations.
//
//   bench_cold_start [--rounds N] [--starts N] [--calls] [--plugin PATH]
//
// Exit codes: 0 done, 1 not.

#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <numeric>
#include <stdexcept>
#include <string>
#include <vector>

#include "benchmarks/cost/cold_start_device.h"
#include "benchmarks/cost/lean_start.h"
#include "benchmarks/cost/main_queue.h"
#include "benchmarks/cost/measure.h"
#include "benchmarks/cost/system_calls.h"
#include "host/replay/plugin_library.h"
#include "host/sandbox/sandbox.h"
#include "platform/file_util.h"
#include "platform/log.h"

namespace ZYRA::Bench {
namespace {

enum Step : size_t { ABILITY_START, PROCESS_START, PAGE_START, PAGE_COMPLETE, DELAY_TIMEOUT, STOP, STEP_COUNT };
constexpr const char* STEP_NAMES[] = {"ability start", "process start",  "page start",
                                      "page complete", "delay time-out", "stop"};
// The time-outs of a device with 8 GB of memory.
constexpr int64_t DELAY_US = 500000;
constexpr int64_t STOP_US = 4500000;
constexpr int64_t REST_US = 20000000;

struct Case {
    const char* title;
    const char* record;
};
constexpr Case CASES[] = {{"The first start: there is no record, one is collected", "absent"},
                          {"A later start: the record is older than its files, preread and collected anew", "older"},
                          {"A later start: the record is up to date and preread", "uptodate"}};

// What the work that is handed to it takes: the calling thread's time of the processor, or its system calls, which to
// count takes time.
class Meter {
public:
    void CountCalls(SystemCalls* calls) { calls_ = calls; }
    void Run(const std::function<void()>& work) {
        if (calls_ != nullptr) {
            calls_->Take();
            work();
            counts_ = calls_->Take();
        } else {
            const int64_t before = NowNs();
            work();
            ns_ = NowNs() - before;
        }
        ++runs_;
    }
    // Of the last run.
    int64_t Ns() const { return ns_; }
    const CallCounts& Calls() const { return counts_; }
    // Since the last call of this.
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

// The sums of the time, and the calls of the last start.
struct Costs {
    std::array<int64_t, STEP_COUNT> ns{};
    std::array<CallCounts, STEP_COUNT> calls;
};

class ColdStarts {
public:
    ColdStarts(ColdStartDevice& device, const std::string& pluginPath)
        : device_(device), runtime_(START_TIME_S, [this](const std::function<void()>& task) { meter_.Run(task); }) {
        Host::TaskRuntime::Install(runtime_);
        std::string error;
        plugin_ = Host::PluginLibrary::Open(pluginPath, error);
        if (plugin_ == nullptr) {
            throw std::runtime_error(error);
        }
        plugin_->Init();
        runtime_.RunFor(REST_US);
    }
    ~ColdStarts() { plugin_->Disable(); }

    Meter& Measured() { return meter_; }

    void RunPlugin(const Case& one, Costs& costs) {
        Prepare(one);
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
        runtime_.RunFor(DELAY_US);
        Note(DELAY_TIMEOUT, costs);
        runtime_.RunFor(STOP_US);
        Note(STOP, costs);
        runtime_.RunFor(REST_US);
    }

    void RunLean(const Case& one, Costs& costs) {
        Prepare(one);
        LeanStart start(BUNDLE, UID, PID);
        RunLeanStep(ABILITY_START, costs, [&start] { return start.AbilityStart(); });
        RunLeanStep(PROCESS_START, costs, [&start] { return start.ProcessStart(); });
        RunLeanStep(DELAY_TIMEOUT, costs, [&start] { return start.DelayTimeout(); });
        RunLeanStep(STOP, costs, [&start] { return start.Stop(); });
    }

private:
    void Prepare(const Case& one) {
        device_.Prepare(one.record);
        meter_.TakeRuns();
    }
    void Send(uint32_t type, int64_t value, const nlohmann::json& payload) {
        plugin_->Dispatch(std::make_shared<ResourceSchedule::ResData>(ResourceSchedule::ResData{type, value, payload}));
        runtime_.RunFor(0);
    }
    void RunLeanStep(Step step, Costs& costs, const std::function<bool()>& work) {
        bool isDone = false;
        meter_.Run([&] { isDone = work(); });
        if (!isDone) {
            throw std::runtime_error(std::string("a file operation fails: ") + STEP_NAMES[step]);
        }
        Note(step, costs);
    }
    void Note(Step step, Costs& costs) {
        if (meter_.TakeRuns() != 1) {
            throw std::runtime_error(std::string("not one task: ") + STEP_NAMES[step]);
        }
        costs.ns[step] += meter_.Ns();
        costs.calls[step] = meter_.Calls();
    }

    ColdStartDevice& device_;
    Meter meter_;
    MainQueueRuntime runtime_;
    std::unique_ptr<Host::PluginLibrary> plugin_;
};

// Microseconds a start, round by round. The last row is all of the start.
using Times = std::array<std::vector<double>, STEP_COUNT + 1>;

void AddRound(const Costs& costs, int starts, double emptyNs, Times& times) {
    double sumUs = 0;
    for (size_t step = 0; step < STEP_COUNT; ++step) {
        const double us = costs.ns[step] == 0 ? 0 : (static_cast<double>(costs.ns[step]) / starts - emptyNs) / 1000;
        sumUs += us;
        times[step].push_back(us);
    }
    times[STEP_COUNT].push_back(sumUs);
}

int Sum(const CallCounts& counts) {
    return std::accumulate(counts.begin(), counts.end(), 0, [](int sum, const auto& one) { return sum + one.second; });
}

struct Contender {
    Times times;
    Costs calls;
};

class Comparison {
public:
    struct Options {
        int rounds = 15;
        int starts = 100;
        bool showsCalls = false;
        std::string plugin = Host::PluginLibrary::DefaultPath();
    };

    Comparison(ColdStarts& starts, SystemCalls* calls, const Options& options)
        : starts_(starts), calls_(calls), options_(options) {}

    void Run(const Case& one) {
        plugin_ = Contender();
        lean_ = Contender();
        // What is done once in the life of a process has been done then, and memory has its final size.
        Costs warm;
        RunBoth(one, options_.starts, warm, warm);
        if (calls_ != nullptr) {
            starts_.Measured().CountCalls(calls_);
            RunBoth(one, 1, plugin_.calls, lean_.calls);
            starts_.Measured().CountCalls(nullptr);
            CheckNoneIsMissing();
        }
        for (int round = 0; round < options_.rounds && !options_.showsCalls; ++round) {
            const double emptyNs = MeasureNothing();
            Costs plugin;
            Costs lean;
            RunBoth(one, options_.starts, plugin, lean);
            AddRound(plugin, options_.starts, emptyNs, plugin_.times);
            AddRound(lean, options_.starts, emptyNs, lean_.times);
        }
    }

    // Of one step, or of all of them: the times, their ratio, and the numbers of calls where they were counted.
    std::vector<std::string> Cells(const std::string& name, size_t step) const {
        const double leanUs = SpreadOf(lean_.times[step]).median;
        std::vector<std::string> cells = {
            name, Text(SpreadOf(plugin_.times[step]).median, 1), Text(leanUs, 1),
            leanUs < LEAST_US ? "nothing to do" : Text(RatioOf(plugin_.times[step], lean_.times[step]), 2)};
        if (calls_ != nullptr) {
            cells.insert(cells.end(), {CountText(plugin_.calls, step), CountText(lean_.calls, step)});
        }
        return cells;
    }
    void PrintSteps() const {
        Table table(Header("step"));
        for (size_t step = 0; step < STEP_COUNT; ++step) {
            table.Add(Cells(STEP_NAMES[step], step));
        }
        table.Add(Cells("all", STEP_COUNT));
        table.Print();
    }
    void PrintCalls() const {
        Table table({"step and call", "plugin", "needed", "ratio"});
        for (size_t step = 0; step < STEP_COUNT; ++step) {
            std::map<long, std::pair<int, int>> both;
            for (const auto& [number, count] : plugin_.calls.calls[step]) {
                both[number].first = count;
            }
            for (const auto& [number, count] : lean_.calls.calls[step]) {
                both[number].second = count;
            }
            for (const auto& [number, counts] : both) {
                const auto& [plugin, lean] = counts;
                table.Add({std::string(STEP_NAMES[step]) + ": " + CallName(number), std::to_string(plugin),
                           std::to_string(lean),
                           lean == 0 ? "not there" : Text(static_cast<double>(plugin) / lean, 2)});
            }
        }
        table.Print();
    }
    std::vector<std::string> Header(const std::string& first) const {
        std::vector<std::string> header = {first, "plugin us", "file operations us", "ratio"};
        if (calls_ != nullptr) {
            header.insert(header.end(), {"plugin's calls", "needed calls"});
        }
        return header;
    }

private:
    static constexpr double LEAST_US = 0.5;

    // In turn, and each is first as often as the other.
    void RunBoth(const Case& one, int count, Costs& plugin, Costs& lean) {
        for (int start = 0; start < count; ++start) {
            if (start % 2 == 0) {
                starts_.RunPlugin(one, plugin);
            }
            starts_.RunLean(one, lean);
            if (start % 2 == 1) {
                starts_.RunPlugin(one, plugin);
            }
        }
    }
    // A plugin that gives up on the way would be quick.
    void CheckNoneIsMissing() const {
        for (size_t step = 0; step < STEP_COUNT; ++step) {
            if (Sum(plugin_.calls.calls[step]) < Sum(lean_.calls.calls[step])) {
                throw std::runtime_error(std::string("the plugin leaves out a file operation: ") + STEP_NAMES[step]);
            }
        }
    }
    // What the clock adds to each run.
    double MeasureNothing() {
        int64_t ns = 0;
        for (int run = 0; run < options_.starts; ++run) {
            starts_.Measured().Run([] {});
            ns += starts_.Measured().Ns();
        }
        return static_cast<double>(ns) / options_.starts;
    }
    static std::string CountText(const Costs& costs, size_t step) {
        int sum = 0;
        for (size_t other = 0; other < STEP_COUNT; ++other) {
            sum += step == STEP_COUNT || step == other ? Sum(costs.calls[other]) : 0;
        }
        return std::to_string(sum);
    }

    ColdStarts& starts_;
    SystemCalls* const calls_;
    const Options options_;
    Contender plugin_;
    Contender lean_;
};

// By step, where the control files answer at once.
void CompareSteps(const Comparison::Options& options) {
    const auto device = ColdStartDevice::OfPlainFiles();
    ColdStarts starts(*device, options.plugin);
    const auto calls = SystemCalls::Open();
    if (calls == nullptr) {
        std::puts("The kernel does not permit tracing here: system calls were not counted.\n");
    }
    for (const Case& one : CASES) {
        Comparison comparison(starts, calls.get(), options);
        comparison.Run(one);
        std::printf("**%s**\n\n", one.title);
        if (options.showsCalls) {
            comparison.PrintCalls();
        } else {
            comparison.PrintSteps();
        }
        std::puts("");
    }
}

// Where a facility answers: the step in which the plugin does most of its own, and all of a start.
void CompareOnVirtualDevice(const Comparison::Options& options) {
    const auto device = ColdStartDevice::Virtual();
    ColdStarts starts(*device, options.plugin);
    const auto calls = SystemCalls::Open();
    Comparison comparison(starts, calls.get(), options);
    Table table(comparison.Header("record"));
    for (const Case& one : CASES) {
        comparison.Run(one);
        table.Add(comparison.Cells(std::string(one.record) + ": " + STEP_NAMES[ABILITY_START], ABILITY_START));
        table.Add(comparison.Cells(std::string(one.record) + ": all", STEP_COUNT));
    }
    std::puts("**The same on the virtual device**\n");
    table.Print();
}

// In a process of its own, which has one device. Returns whether it went well.
bool RunApart(void (*compare)(const Comparison::Options&), const Comparison::Options& options) {
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        try {
            if (const auto refusal = Host::EnterSandbox({128ULL << 30, ""})) {
                throw std::runtime_error(*refusal);
            }
            logThreshold = static_cast<int32_t>(LogLevel::FATAL);
            compare(options);
        } catch (const std::exception& failure) {
            std::fprintf(stderr, "bench_cold_start: %s\n", failure.what());
            std::_Exit(EXIT_FAILURE);
        }
        std::fflush(stdout);
        std::_Exit(EXIT_SUCCESS);
    }
    int status = 0;
    return child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace
}  // namespace ZYRA::Bench

int main(int argc, char** argv) {
    using namespace ZYRA::Bench;
    Comparison::Options options;
    CLI::App app("A cold start on the main queue, next to its file operations.");
    app.add_option("--rounds", options.rounds)->check(CLI::Range(1, 1000));
    app.add_option("--starts", options.starts, "Of each kind, in a round")->check(CLI::Range(1, 100000));
    app.add_flag("--calls", options.showsCalls, "Which calls each makes, by step, in the place of times");
    app.add_option("--plugin", options.plugin);
    CLI11_PARSE(app, argc, argv);
    std::string plugin;
    if (!ZYRA::PathToRealPath(options.plugin, plugin)) {
        std::fprintf(stderr, "bench_cold_start: there is no %s\n", options.plugin.c_str());
        return EXIT_FAILURE;
    }
    options.plugin = plugin;
    const bool isDone =
        RunApart(CompareSteps, options) && (options.showsCalls || RunApart(CompareOnVirtualDevice, options));
    return isDone ? EXIT_SUCCESS : EXIT_FAILURE;
}
