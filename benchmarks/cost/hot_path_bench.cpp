// SPDX-License-Identifier: Apache-2.0
// What every event passes: how many blocks of memory it takes until it has been handled, and what a log line costs
// whose level is off.

#include <CLI/CLI.hpp>
#include <atomic>
#include <cstdio>
#include <ctime>
#include <string>
#include <vector>

#include "benchmarks/cost/counted_new.h"
#include "benchmarks/cost/measure.h"
#include "benchmarks/cost/running_plugin.h"
#include "platform/log.h"

namespace ZYRA::Bench {
namespace {

constexpr LogLabel LABEL = {1, "BENCH"};

// As in code that knows the threshold only at run time.
std::atomic<int32_t> bareThreshold{static_cast<int32_t>(LogLevel::FATAL)};

template <typename Body>
double NsEach(int64_t times, const Body& body) {
    timespec start{};
    timespec end{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &start);
    for (int64_t i = 0; i < times; ++i) {
        body(i);
        asm volatile("" ::: "memory");
    }
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &end);
    const double ns = static_cast<double>(end.tv_sec - start.tv_sec) * 1e9 + static_cast<double>(end.tv_nsec) -
                      static_cast<double>(start.tv_nsec);
    return ns / static_cast<double>(times);
}

void PrintLogCost(int rounds, int64_t lines) {
    std::vector<double> logged;
    std::vector<double> bare;
    const std::string scene = "com.example.mail/EntryAbility.pages.detail.Item";
    logged.reserve(static_cast<size_t>(rounds));
    bare.reserve(static_cast<size_t>(rounds));
    const uint64_t before = Allocations();
    for (int round = 0; round < rounds; ++round) {
        logged.push_back(NsEach(lines, [&](int64_t i) {
            ZYRA_LOG(LogLevel::DEBUG, LABEL, "[%{public}s:]sceneName: %{public}s, value: %{public}ld", "PrintLogCost",
                     scene.c_str(), i);
        }));
        bare.push_back(NsEach(lines, [](int64_t i) {
            if (bareThreshold.load(std::memory_order_relaxed) <= static_cast<int32_t>(LogLevel::DEBUG)) {
                std::printf("%lld\n", static_cast<long long>(i));
            }
        }));
    }
    const uint64_t allocations = Allocations() - before;
    Table table({"log line with its level off", "ns in a loop", "beside the test of one variable", "allocations"});
    table.Add({"two texts and a number", Text(SpreadOf(logged).median, 2), Text(RatioOf(logged, bare), 2),
               Grouped(static_cast<long long>(allocations)) + " in " + Grouped(static_cast<long long>(lines) * rounds) +
                   " lines"});
    table.Print();
}

void PrintAllocations(const std::string& path, int events) {
    RunningPlugin plugin(path);
    plugin.CheckCases();
    Table table({"event", "allocations", "by a copy of the payload and its end", "beside that"});
    for (const auto& [name, data, line] : RunningPlugin::Cases()) {
        const auto send = [&plugin, events, &event = data] {
            for (int sent = 0; sent < events; ++sent) {
                plugin.Dispatch(event);
            }
            plugin.WaitUntilHandled();
        };
        send();
        const uint64_t start = Allocations();
        send();
        const uint64_t handled = Allocations();
        for (int copied = 0; copied < events; ++copied) {
            const nlohmann::json copy = data->payload;
        }
        const auto all = static_cast<double>(handled - start) / events;
        const auto copies = static_cast<double>(Allocations() - handled) / events;
        table.Add({name, Text(all, 2), Text(copies, 2), Text(all / copies, 2)});
    }
    table.Print();
}

}  // namespace
}  // namespace ZYRA::Bench

int main(int argc, char** argv) {
    using namespace ZYRA::Bench;
    CLI::App app("What every event passes: allocations, and log lines that are off.");
    const Options options(app, 15);
    CLI11_PARSE(app, argc, argv);
    const std::string path = options.PluginPath();
    constexpr int64_t LINES = 20000000;
    constexpr int EVENTS = 1000;
    EnterSandboxOrExit();
    PrintAllocations(path, EVENTS);
    std::puts("");
    PrintLogCost(options.Rounds(), LINES);
}
