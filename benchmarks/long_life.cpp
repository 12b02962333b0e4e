// SPDX-License-Identifier: Apache-2.0
// The shipped plugin through a made-up life of weeks or years in virtual time: what it holds at the end of each week,
// of memory, descriptors, threads and files. Its memory is what operator new has given it; what SQLite takes is in the
// heap of the process, which also holds the device.
//
//   long_life [--days D] [--apps A] [--seed S] [--system-starts N] [--plugin PATH]
//
// Fails when descriptors or threads do not come back to where they were after the first week, or when the plugin's
// memory grows by more than LARGEST_GROWTH a week, or is not given back when it is unloaded. Exit codes: 0 it does not,
// 1 it does, 77 there is no sandbox.

#include <malloc.h>

#include <CLI/CLI.hpp>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "host/replay/plugin_library.h"
#include "host/replay/scenario.h"
#include "host/replay/virtual_device.h"
#include "host/runtime/virtual_runtime.h"
#include "host/sandbox/sandbox.h"
#include "host/services/power_service.h"
#include "host/workload/usage_generator.h"
#include "platform/file_util.h"
#include "platform/log.h"

namespace {

// In front of every block: whether the plugin asked for it. As large as the strictest alignment.
struct alignas(std::max_align_t) BlockHeader {
    size_t size;
    bool isPlugins;
};

// Whether the thread runs the plugin's code: an export, or a task of one of its queues. What the platform allocates for
// it meanwhile counts as the plugin's.
thread_local bool runsPlugin = false;
std::atomic<int64_t> pluginBytes{0};
std::atomic<int64_t> pluginBlocks{0};

}  // namespace

void* operator new(size_t size) {
    auto* const header = static_cast<BlockHeader*>(std::malloc(sizeof(BlockHeader) + size));
    if (header == nullptr) {
        throw std::bad_alloc();
    }
    *header = {size, runsPlugin};
    pluginBytes += runsPlugin ? static_cast<int64_t>(size) : 0;
    pluginBlocks += runsPlugin ? 1 : 0;
    return header + 1;
}

void operator delete(void* block) noexcept {
    if (block == nullptr) {
        return;
    }
    auto* const header = static_cast<BlockHeader*>(block) - 1;
    pluginBytes -= header->isPlugins ? static_cast<int64_t>(header->size) : 0;
    pluginBlocks -= header->isPlugins ? 1 : 0;
    std::free(header);
}

void operator delete(void* block, size_t /*size*/) noexcept {
    operator delete(block);
}

namespace ZYRA::Host {
namespace {

namespace fs = std::filesystem;

constexpr int64_t US_PER_WEEK = 7LL * 24 * 3600 * 1000000;
constexpr int64_t US_PER_DAY = US_PER_WEEK / 7;
constexpr int64_t LARGEST_GROWTH = 64 * 1024;
constexpr int64_t LARGEST_REST = 4096;

const fs::path DATABASE = "/data/service/el1/public/ressched/top_scene.db";
const fs::path RECORDS = "/data/service/el1/public/ressched/workingset";

struct Holdings {
    int64_t pluginBytes;
    int64_t pluginBlocks;
    size_t heapBytes;  // Of the whole process.
    size_t descriptors;
    size_t threads;
    size_t databaseBytes;
    size_t recordFiles;
};

size_t CountEntries(const fs::path& folder) {
    return static_cast<size_t>(std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

Holdings Measure() {
    const struct mallinfo2 heap = mallinfo2();
    size_t records = 0;
    std::error_code ignored;
    for (const auto& entry : fs::recursive_directory_iterator(RECORDS, ignored)) {
        records += entry.is_regular_file() ? 1 : 0;
    }
    const auto databaseBytes = fs::file_size(DATABASE, ignored);
    return {pluginBytes,
            pluginBlocks,
            heap.uordblks + heap.hblkhd,
            CountEntries("/proc/self/fd"),
            CountEntries("/proc/self/task"),
            ignored ? 0 : static_cast<size_t>(databaseBytes),
            records};
}

// Takes the steps as they are made up: a year of them is not kept.
class Life {
public:
    Life(VirtualRuntime& runtime, VirtualDevice& device, const PluginLibrary& plugin, int systemStarts)
        : runtime_(runtime), device_(device), plugin_(plugin), systemStarts_(systemStarts) {}

    // One or more lines of a scenario.
    void Take(std::string_view lines) {
        InputError error;
        const auto scenario = ParseScenario("made up", lines, error);
        if (!scenario) {
            std::fprintf(stderr, "long_life: %s\n", error.Text().c_str());
            std::exit(EXIT_FAILURE);
        }
        for (const DeviceStep& step : scenario->startDevice) {
            device_.Apply(step.patch);
        }
        for (const ScenarioStep& step : scenario->steps) {
            AdvanceTo(step.timeUs);
            if (const auto* event = std::get_if<EventStep>(&step.action)) {
                Dispatch(event->resType, event->value, event->payload);
            } else if (const auto* change = std::get_if<DeviceStep>(&step.action)) {
                device_.Apply(change->patch);
            }
        }
    }

    // Runs what is due until then, with what every day brings beside the person's own doings.
    void AdvanceTo(int64_t timeUs) {
        while (nextDayUs_ <= timeUs) {
            RunUntil(nextDayUs_);
            nextDayUs_ += US_PER_DAY;
            LiveByItself();
        }
        RunUntil(timeUs);
    }

    const std::vector<Holdings>& Weeks() const { return weeks_; }
    uint64_t Events() const { return events_; }

private:
    void RunUntil(int64_t timeUs) {
        runsPlugin = true;
        runtime_.RunUntil(timeUs);
        runsPlugin = false;
    }
    void Dispatch(uint32_t type, int64_t value, const nlohmann::json& payload) {
        const auto data = std::make_shared<ResourceSchedule::ResData>(ResourceSchedule::ResData{type, value, payload});
        runsPlugin = true;
        plugin_.Dispatch(data);
        runsPlugin = false;
        ++events_;
    }
    // The system's own processes come and go, somebody asks for the statistics, and once a week the week is measured.
    void LiveByItself() {
        for (int start = 0; start < systemStarts_; ++start) {
            const std::string pid = std::to_string(100000 + start);
            device_.Apply({{"processes", {{pid, {{"uid", 20019999}, {"bundles", {"com.example.system"}}}}}}});
            Dispatch(4, 0, {{"bundleName", "com.example.system"}, {"uid", "20019999"}, {"pid", pid}});
            RunUntil(runtime_.ElapsedUs());
            device_.Apply({{"processes", {{pid, nullptr}}}});
        }
        runsPlugin = true;
        plugin_.Dump({"-dfx"});
        PowerService::GetInstance().Shutdown();
        runsPlugin = false;
        if ((nextDayUs_ - US_PER_DAY) % US_PER_WEEK == 0) {
            weeks_.push_back(Measure());
        }
    }

    VirtualRuntime& runtime_;
    VirtualDevice& device_;
    const PluginLibrary& plugin_;
    const int systemStarts_;  // A day.
    int64_t nextDayUs_ = US_PER_DAY;
    std::vector<Holdings> weeks_;
    uint64_t events_ = 0;
};

void Print(const std::string& when, const Holdings& holdings) {
    std::printf("%-14s %10.1f %8lld %10.1f %6zu %8zu %10.1f %8zu\n", when.c_str(),
                static_cast<double>(holdings.pluginBytes) / 1024, static_cast<long long>(holdings.pluginBlocks),
                static_cast<double>(holdings.heapBytes) / 1024, holdings.descriptors, holdings.threads,
                static_cast<double>(holdings.databaseBytes) / 1024, holdings.recordFiles);
}

// Returns whether the plugin keeps to what it may hold.
bool Judge(const std::vector<Holdings>& weeks, const Holdings& unloaded) {
    if (weeks.size() < 2) {
        std::fprintf(stderr, "long_life: two weeks are the least\n");
        return false;
    }
    const Holdings& first = weeks.front();
    const Holdings& last = weeks.back();
    const int64_t growth = (last.pluginBytes - first.pluginBytes) / static_cast<int64_t>(weeks.size() - 1);
    std::printf("the plugin's memory grows by %lld bytes a week\n", static_cast<long long>(growth));
    return last.descriptors == first.descriptors && last.threads == first.threads && growth <= LARGEST_GROWTH &&
           unloaded.pluginBytes <= LARGEST_REST;
}

int Run(const GeneratorOptions& options, int systemStarts, const std::string& pluginPath) {
    std::string error;
    VirtualRuntime runtime(UsageGenerator::START_TIME_S);
    TaskRuntime::Install(runtime);
    std::unique_ptr<Life> life;
    ScenarioText text([&life](std::string_view lines) { life->Take(lines); });
    UsageGenerator generator(options, text);
    nlohmann::json document = generator.Device();
    document["bundles"]["com.example.system"] = {{"uid", 20019999}, {"systemApp", true}, {"removable", false}};
    LocatedJson located;
    located.value = document;
    DeviceModel model;
    ApplyDevicePatch(JsonNode(located), DevicePhase::DESCRIBING, model);
    const auto device = VirtualDevice::Start(model, error);
    auto plugin = device == nullptr ? nullptr : PluginLibrary::Open(pluginPath, error);
    if (plugin == nullptr) {
        std::fprintf(stderr, "long_life: %s\n", error.c_str());
        return EXIT_FAILURE;
    }
    runsPlugin = true;
    plugin->Init();
    runsPlugin = false;
    life = std::make_unique<Life>(runtime, *device, *plugin, systemStarts);
    generator.Run();
    life->AdvanceTo(options.days * US_PER_DAY);

    std::printf("%-14s %10s %8s %10s %6s %8s %10s %8s\n", "after", "plugin KiB", "blocks", "heap KiB", "files",
                "threads", "base KiB", "records");
    const std::vector<Holdings>& weeks = life->Weeks();
    for (size_t week = 0; week < weeks.size(); ++week) {
        if (week % 4 == 0 || week + 1 == weeks.size()) {
            Print("week " + std::to_string(week + 1), weeks[week]);
        }
    }
    runsPlugin = true;
    plugin->Disable();
    runsPlugin = false;
    Print("disabled", Measure());
    plugin.reset();
    const Holdings unloaded = Measure();
    Print("unloaded", unloaded);
    std::printf("%llu events in %lld days\n", static_cast<unsigned long long>(life->Events()),
                static_cast<long long>(options.days));
    return Judge(weeks, unloaded) ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace
}  // namespace ZYRA::Host

int main(int argc, char** argv) {
    using namespace ZYRA::Host;
    constexpr int NO_SANDBOX = 77;
    GeneratorOptions options{365, 60, 1};
    int systemStarts = 40;
    std::string pluginFile = PluginLibrary::DefaultPath();
    CLI::App app("A long life of the plugin, in virtual time.");
    app.add_option("--days", options.days)->check(CLI::Range(14, 3660));
    app.add_option("--apps", options.apps)->check(CLI::Range(1, 2000));
    app.add_option("--seed", options.seed);
    app.add_option("--system-starts", systemStarts, "Starts a day of a process of the system")
        ->check(CLI::Range(0, 10000));
    app.add_option("--plugin", pluginFile);
    CLI11_PARSE(app, argc, argv);
    std::string pluginPath;
    if (!ZYRA::PathToRealPath(pluginFile, pluginPath)) {
        std::fprintf(stderr, "long_life: there is no %s\n", pluginFile.c_str());
        return EXIT_FAILURE;
    }
    ZYRA::logThreshold = static_cast<int32_t>(ZYRA::LogLevel::FATAL);
    if (const auto refusal = EnterSandbox({128ULL << 30, ""})) {
        std::fprintf(stderr, "%s\n", refusal->c_str());
        return NO_SANDBOX;
    }
    return Run(options, systemStarts, pluginPath);
}
