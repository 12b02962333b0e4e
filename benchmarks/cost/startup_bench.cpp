// SPDX-License-Identifier: Apache-2.0
// What the plugin's start costs: each round in a process of its own, on a device that has never run it or one that
// knows a thousand scenes. Beside it the least that the same start takes: a library that does nothing but need the same
// libraries, and the statements that open the scene database.

#include <dlfcn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <functional>
#include <future>
#include <string>
#include <thread>
#include <variant>
#include <vector>

#include "benchmarks/cost/measure.h"
#include "benchmarks/cost/running_plugin.h"
#include "host/runtime/journal.h"
#include "platform/log.h"

namespace ZYRA::Bench {
namespace {

constexpr char FOLDER[] = "/data/service/el1/public/ressched/";

double NowUs() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    constexpr double US_PER_S = 1e6;
    constexpr double US_PER_NS = 1e-3;
    return static_cast<double>(time.tv_sec) * US_PER_S + static_cast<double>(time.tv_nsec) * US_PER_NS;
}

// Microseconds of each part of one start, of the plugin or of the least.
struct Start {
    double load = 0;        // dlopen
    double ready = 0;       // From before the load until the stored set is in use.
    double firstEvent = 0;  // From its dispatch until it has been handled.
};

// Tells when the stored set is in use: the plugin says so.
class ReadyWatch final : private Host::JournalSink {
public:
    ReadyWatch() { Host::Journal::GetInstance().AddSink(this); }
    ~ReadyWatch() override { Host::Journal::GetInstance().RemoveSink(this); }
    void Wait() { ready_.get_future().wait(); }

private:
    void OnEntry(const Host::JournalEntry& entry) override {
        const auto* log = std::get_if<Host::LogEntry>(&entry.fact);
        if (log != nullptr && log->text.find("UpdateTopNScene success") != std::string::npos) {
            ready_.set_value();
        }
    }
    std::promise<void> ready_;
};

Start StartPlugin(const std::string& path) {
    logThreshold = static_cast<int32_t>(LogLevel::INFO);
    const auto device = StartDevice();
    ReadyWatch ready;
    std::string error;
    const double begin = NowUs();
    const auto plugin = Host::PluginLibrary::Open(path, error);
    const double loaded = NowUs();
    if (plugin == nullptr || !plugin->Init()) {
        Fail("the plugin does not start: " + error);
    }
    ready.Wait();
    const double isReady = NowUs();
    HandledMark handled;
    const double sent = NowUs();
    plugin->Dispatch(handled.Event());
    handled.Wait();
    const Start start{loaded - begin, isReady - begin, NowUs() - sent};
    plugin->Disable();
    return start;
}

// Loads the library, which then stays.
template <typename Function>
Function* Find(const std::string& path, const char* name) {
    void* const library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    void* const symbol = library == nullptr ? nullptr : dlsym(library, name);
    if (symbol == nullptr) {
        Fail(dlerror());
    }
    return reinterpret_cast<Function*>(symbol);
}

// The device is there as well, so that both processes are alike.
Start StartLeast(const std::string& path) {
    const auto device = StartDevice();
    const double begin = NowUs();
    const auto load = Find<void()>(path, "LoadLeast");
    const double loaded = NowUs();
    // Two queues.
    std::promise<void> ready;
    std::promise<void> asked;
    std::promise<void> handled;
    std::thread main([&] {
        mkdir((std::string(FOLDER) + "workingset/").c_str(), 0700);
        asked.get_future().wait();
        handled.set_value();
    });
    std::thread tasks([&] {
        load();
        ready.set_value();
    });
    ready.get_future().wait();
    const double isReady = NowUs();
    asked.set_value();
    handled.get_future().wait();
    const Start start{loaded - begin, isReady - begin, NowUs() - isReady};
    main.join();
    tasks.join();
    return start;
}

// Runs one start in a child of its own.
Start InChild(const std::function<Start()>& run) {
    int ends[2];
    if (pipe(ends) != 0) {
        Fail("pipe");
    }
    const pid_t child = fork();
    if (child == 0) {
        const Start start = run();
        _exit(write(ends[1], &start, sizeof start) == static_cast<ssize_t>(sizeof start) ? 0 : 1);
    }
    Start start;
    close(ends[1]);
    const bool isWhole = read(ends[0], &start, sizeof start) == static_cast<ssize_t>(sizeof start);
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (!isWhole || status != 0) {
        Fail("a start has failed");
    }
    return start;
}

void RemoveData() {
    for (const auto& entry : std::filesystem::directory_iterator(FOLDER)) {
        std::filesystem::remove_all(entry);
    }
}

struct Rounds {
    std::vector<double> load, ready, firstEvent;
    void Add(const Start& start) {
        load.push_back(start.load);
        ready.push_back(start.ready);
        firstEvent.push_back(start.firstEvent);
    }
};

void Measure(Table& table, const std::string& device, int scenes, int rounds, const std::string& plugin,
             const std::string& least) {
    Rounds ours;
    Rounds leasts;
    for (int round = -1; round < rounds; ++round) {
        const auto run = [&](Rounds& into, const std::function<Start()>& start) {
            RemoveData();
            if (scenes > 0) {
                InChild([&] {
                    Find<void(int)>(least, "FillDatabase")(scenes);
                    return Start();
                });
            }
            const Start measured = InChild(start);
            if (round >= 0) {
                into.Add(measured);
            }
        };
        run(ours, [&plugin] { return StartPlugin(plugin); });
        run(leasts, [&least] { return StartLeast(least); });
    }
    const auto add = [&](const std::string& part, const std::vector<double>& our, const std::vector<double>& its) {
        table.Add(
            {device + part, Text(SpreadOf(our).median, 0), Text(SpreadOf(its).median, 0), Text(RatioOf(our, its), 2)});
    };
    add(": load", ours.load, leasts.load);
    add(": load to ready", ours.ready, leasts.ready);
    add(": first event", ours.firstEvent, leasts.firstEvent);
}

}  // namespace
}  // namespace ZYRA::Bench

int main(int argc, char** argv) {
    using namespace ZYRA::Bench;
    std::string least = LEAST_LIBRARY;
    CLI::App app("What the plugin's start costs.");
    const Options options(app, 31);
    CLI11_PARSE(app, argc, argv);
    const std::string path = options.PluginPath();
    EnterSandboxOrExit();
    constexpr int KNOWN_SCENES = 1000;
    Table table({"start", "us", "least, us", "ratio"});
    Measure(table, "new device", 0, options.Rounds(), path, least);
    Measure(table, Grouped(KNOWN_SCENES) + " scenes", KNOWN_SCENES, options.Rounds(), path, least);
    table.Print();
}
