// SPDX-License-Identifier: Apache-2.0
// What an event costs from the plugin's OnDispatchResource until it has been handled, beside a bare queue and a strand:
// each in turn, with the same events, in rounds.

#include <CLI/CLI.hpp>
#include <ctime>
#include <iterator>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "benchmarks/cost/measure.h"
#include "benchmarks/cost/running_plugin.h"

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
        for (int sent = 0; sent < events; ++sent) {
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
    const double all = static_cast<double>(events) * senders;
    return {(Seconds(CLOCK_MONOTONIC) - wall) * NS_PER_S / all,
            (Seconds(CLOCK_PROCESS_CPUTIME_ID) - cpu) * NS_PER_S / all};
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
    for (const auto& [name, event, line] : RunningPlugin::Cases()) {
        if (!only.empty() && only != name) {
            continue;
        }
        for (const int senders : {1, 2}) {
            Rounds ours;
            Rounds ofBare;
            Rounds ofStrand;
            const std::pair<Contender*, Rounds*> contenders[] = {
                {&plugin, &ours}, {bare.get(), &ofBare}, {strand.get(), &ofStrand}};
            constexpr size_t CONTENDERS = std::size(contenders);
            // The first rounds warm up; each contender comes first, second and third.
            for (size_t turn = 0; turn < CONTENDERS * static_cast<size_t>(rounds + 1); ++turn) {
                const size_t round = turn / CONTENDERS;
                const auto& [contender, costs] = contenders[(turn + round) % CONTENDERS];
                const Cost cost = Measure(*contender, event, senders, events);
                if (round > 0) {
                    costs->Add(cost);
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
    int events = 50000;
    std::string only;
    CLI::App app("What an event costs until it has been handled.");
    const Options options(app, 15);
    app.add_option("--events", events, "For each round, and each sender")->check(CLI::Range(1, 10000000));
    std::vector<std::string> names;
    for (const auto& one : RunningPlugin::Cases()) {
        names.emplace_back(one.name);
    }
    app.add_option("--only", only, "One of the events, by its name in the table")->check(CLI::IsMember(names));
    CLI11_PARSE(app, argc, argv);
    const std::string path = options.PluginPath();
    EnterSandboxOrExit();
    RunningPlugin running(path);
    running.CheckCases();
    Run(running, options.Rounds(), events, only);
}
