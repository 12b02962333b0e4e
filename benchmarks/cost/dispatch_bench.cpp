// What an event costs from the plugin's OnDispatchResource until it has been handled, beside a bare queue and a strand:
// each in turn, with the same events, in rounds.

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "benchmarks/cost/measure.h"
#include "benchmarks/cost/running_plugin.h"
#include "platform/file_util.h"

namespace ZYRA::Bench {
namespace {

double Seconds(clockid_t clock) {
    timespec time{};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

// Nanoseconds an event.
struct Cost {
    double wall;
    double cpu;  // Of both sides.
};

Cost Measure(Contender& contender, const Contender::Data& event, int senders, int events) {
    const auto send = [&] {
        for (int sent = 0; sent < events / senders; ++sent) {
            contender.Dispatch(event);
        }
    };
    const double wall = Seconds(CLOCK_MONOTONIC);
    const double cpu = Seconds(CLOCK_PROCESS_CPUTIME_ID);
    std::vector<std::thread> others;
    for (int sender = 1; sender < senders; ++sender) {
        others.emplace_back(send);
    }
    send();
    for (std::thread& other : others) {
        other.join();
    }
    contender.WaitUntilHandled();
    constexpr double NS_PER_S = 1e9;
    return {(Seconds(CLOCK_MONOTONIC) - wall) * NS_PER_S / events,
            (Seconds(CLOCK_PROCESS_CPUTIME_ID) - cpu) * NS_PER_S / events};
}

struct Rounds {
    std::vector<double> wall;
    std::vector<double> cpu;

    void Add(const Cost& cost) {
        wall.push_back(cost.wall);
        cpu.push_back(cost.cpu);
    }
};

void Run(RunningPlugin& plugin, int rounds, int events, const std::string& only) {
    const auto bare = MakeBareQueue();
    const auto strand = MakeStrand();
    Table table({"event", "senders", "ns", "events a second", "beside a bare queue", "of CPU time", "beside a strand",
                 "of CPU time"});
    for (const auto& [name, event] : RunningPlugin::Cases()) {
        if (!only.empty() && only != name) {
            continue;
        }
        for (const int senders : {1, 2}) {
            Rounds ours;
            Rounds ofBare;
            Rounds ofStrand;
            for (int round = -1; round < rounds; ++round) {
                const Cost costs[] = {Measure(plugin, event, senders, events), Measure(*bare, event, senders, events),
                                      Measure(*strand, event, senders, events)};
                // The first round warms up.
                if (round >= 0) {
                    ours.Add(costs[0]);
                    ofBare.Add(costs[1]);
                    ofStrand.Add(costs[2]);
                }
            }
            const double ns = SpreadOf(ours.wall).median;
            table.Add({name, std::to_string(senders), Text(ns, 0), Grouped(static_cast<long long>(1e9 / ns)),
                       Text(RatioOf(ours.wall, ofBare.wall), 2), Text(RatioOf(ours.cpu, ofBare.cpu).median, 2),
                       Text(RatioOf(ours.wall, ofStrand.wall), 2), Text(RatioOf(ours.cpu, ofStrand.cpu).median, 2)});
        }
    }
    table.Print();
}

}  // namespace
}  // namespace ZYRA::Bench

int main(int argc, char** argv) {
    using namespace ZYRA::Bench;
    int rounds = 15;
    int events = 100000;
    std::string only;
    std::string plugin = ZYRA::Host::PluginLibrary::DefaultPath();
    CLI::App app("What an event costs until it has been handled.");
    app.add_option("--rounds", rounds)->check(CLI::Range(1, 1000));
    app.add_option("--events", events, "For each round")->check(CLI::Range(2, 10000000));
    app.add_option("--only", only, "One of the events, by its name in the table");
    app.add_option("--plugin", plugin);
    CLI11_PARSE(app, argc, argv);
    std::string path;
    if (!ZYRA::PathToRealPath(plugin, path)) {
        Fail("there is no " + plugin);
    }
    EnterSandboxOrExit();
    RunningPlugin running(path);
    Run(running, rounds, events, only);
}
