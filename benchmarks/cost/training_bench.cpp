// SPDX-License-Identifier: Apache-2.0
// A training of the shipped plugin, and its load at the start, beside a plain C program that runs the same statements
// (plain_training.c): time, memory, and what both leave in the database, which must be the same.
//
//   bench_training [--rounds N] [--scenes N...] [--plugin PATH]
//
// Each contender works in a process of its own, on a database in a tmpfs. Exit codes: 0 measured, 1 something failed,
// or the contenders do not agree.

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/sendfile.h>
#include <sys/wait.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <numeric>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "benchmarks/cost/cost_meter.h"
#include "benchmarks/cost/measure.h"
#include "benchmarks/cost/training_sql.h"
#include "host/replay/plugin_library.h"
#include "host/replay/virtual_device.h"
#include "host/runtime/virtual_runtime.h"
#include "host/sandbox/sandbox.h"
#include "platform/file_util.h"
#include "platform/log.h"
#include "tests/top_scene/raw_database.h"

namespace ZYRA::Bench {
namespace {

namespace fs = std::filesystem;
using ResourceSchedule::RawDatabase;

constexpr int64_t START_S = 1750000000;
constexpr int64_t ROM_GB = 128;
constexpr size_t TOP_N = 1000;
constexpr size_t BUNDLES = 300;
constexpr size_t MISSING_BUNDLE = 7;  // Is not installed any more, and nobody has said so.
const fs::path FOLDER = "/data/service/el1/public/ressched";
const fs::path DATABASE = FOLDER / "top_scene.db";

// What one contender tells of one of its two pieces of work.
struct Cost {
    double wallMs = 0;
    double cpuMs = 0;
    double peakBytes = 0;
};
struct Outcome {
    Cost load;
    Cost training;
    std::string rows;  // A digest of everything in the database but the time of the training.
};

std::string BundleName(size_t number) {
    constexpr std::array<const char*, 10> KINDS = {"mail",    "gallery", "browser", "notes",  "calendar",
                                                   "weather", "maps",    "music",   "reader", "wallet"};
    return std::string("com.example.") + KINDS[number % KINDS.size()] + ".vendor" + std::to_string(number);
}

// Scene `number` of a device whose scenes are spread over its bundles.
std::string SceneName(size_t number) {
    constexpr std::array<const char*, 7> AREAS = {"home", "detail", "search", "media", "account", "settings", "share"};
    return std::string("EntryAbility.pages/") + AREAS[number % AREAS.size()] + "/View" + std::to_string(number);
}

// A statement that is run again and again.
class Insertion {
public:
    Insertion(sqlite3* db, const char* sql) : db_(db) { Check(sqlite3_prepare_v2(db, sql, -1, &statement_, nullptr)); }
    ~Insertion() { sqlite3_finalize(statement_); }
    Insertion(const Insertion&) = delete;
    Insertion& operator=(const Insertion&) = delete;

    Insertion& Bind(int parameter, const std::string& text) {
        Check(sqlite3_bind_text(statement_, parameter, text.c_str(), -1, SQLITE_TRANSIENT));
        return *this;
    }
    Insertion& Bind(int parameter, double value) {
        Check(sqlite3_bind_double(statement_, parameter, value));
        return *this;
    }
    Insertion& Bind(int parameter, int value) {
        Check(sqlite3_bind_int(statement_, parameter, value));
        return *this;
    }
    void Run() {
        sqlite3_step(statement_);
        Check(sqlite3_reset(statement_));
    }

private:
    void Check(int result) {
        if (result != SQLITE_OK) {
            throw std::runtime_error(sqlite3_errmsg(db_));
        }
    }

    sqlite3* const db_;
    sqlite3_stmt* statement_ = nullptr;
};

// Numbers below `count` in an order of chance, the same at every run.
std::vector<size_t> Shuffled(size_t count, std::mt19937& random) {
    std::vector<size_t> numbers(count);
    std::iota(numbers.begin(), numbers.end(), size_t{0});
    for (size_t left = count; left > 1; --left) {
        std::swap(numbers[left - 1], numbers[random() % left]);
    }
    return numbers;
}

// The scene that ranks at `rank` has this decayed count. No two are equal, so that there is one right order, and what
// is new in the temp table stays far below the last of the set.
double DecayedCount(size_t rank) {
    return 2000.0 / std::pow(static_cast<double>(rank + 1), 0.8);
}

// As many known scenes as counted names, of which about one in twenty is new; one bundle in fifty has been removed
// before. No scene leaves the set: the kernel would be told of each, which takes longer than to rank it.
void FillDatabase(sqlite3* db, size_t scenes) {
    constexpr size_t NEW_EVERY = 20;
    constexpr size_t REMOVED_EVERY = 50;
    std::mt19937 random(1);
    const std::vector<size_t> ranks = Shuffled(scenes, random);
    Insertion insertTop(db, "INSERT INTO top_scene_table VALUES (NULL, ?, ?, ?, ?, ?, ?)");
    for (size_t number = 0; number < scenes; ++number) {
        const size_t bundle = number % BUNDLES;
        const bool isRemoved = bundle % REMOVED_EVERY == 0;
        const double decayed = DecayedCount(ranks[number]);
        insertTop.Bind(1, BundleName(bundle)).Bind(2, SceneName(number)).Bind(3, 1 + static_cast<int>(2 * decayed));
        insertTop.Bind(4, decayed).Bind(5, !isRemoved && ranks[number] < TOP_N ? 1 : 0).Bind(6, isRemoved ? 1 : 0);
        insertTop.Run();
    }
    Insertion insertTemp(db, "INSERT INTO temp_scene_table VALUES (?, ?)");
    for (const size_t at : Shuffled(scenes, random)) {
        const bool isTop = ranks[at] < TOP_N;
        const size_t number = !isTop && at % NEW_EVERY == 0 ? at + scenes : at;
        const int count = isTop ? 1 + static_cast<int>(random() % 4) : 1;
        insertTemp.Bind(1, BundleName(number % BUNDLES) + "/" + SceneName(number)).Bind(2, count).Run();
    }
    insertTemp.Bind(1, "com.example.of.no.scene").Bind(2, 1).Run();
}

// The database as it is before the work, in a file without a name.
class Template {
public:
    explicit Template(size_t scenes) {
        const fs::path path = fs::temp_directory_path() / ("bench_training." + std::to_string(getpid()));
        fs::remove(path);
        sqlite3* db = nullptr;
        if (sqlite3_open(path.c_str(), &db) != SQLITE_OK) {
            throw std::runtime_error("cannot make " + path.string());
        }
        RawDatabase raw(path);
        for (const char* sql : {CREATE_TEMP_SCENES, CREATE_TOP_SCENES, CREATE_HISTORY}) {
            raw.Run(sql);
        }
        raw.Run("INSERT INTO train_history_table VALUES (1, 3, " + std::to_string(START_S - 86400) + ")");
        bool isMade = sqlite3_exec(db, "PRAGMA synchronous = OFF; BEGIN", nullptr, nullptr, nullptr) == SQLITE_OK;
        FillDatabase(db, scenes);
        isMade = sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr) == SQLITE_OK && isMade;
        if (sqlite3_close(db) != SQLITE_OK || !isMade) {
            throw std::runtime_error("cannot fill " + path.string());
        }
        file_ = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        fs::remove(path);
    }
    ~Template() { close(file_); }
    Template(const Template&) = delete;
    Template& operator=(const Template&) = delete;

    void CopyTo(const fs::path& path) const {
        const int copy = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        off_t offset = 0;
        constexpr size_t MOST_AT_ONCE = size_t{1} << 30;
        ssize_t copied = 1;
        while (copied > 0) {
            copied = sendfile(copy, file_, &offset, MOST_AT_ONCE);
        }
        if (copied < 0 || close(copy) != 0) {
            throw std::runtime_error("cannot copy the database to " + path.string());
        }
    }

private:
    int file_ = -1;
};

std::vector<std::string> InstalledBundles() {
    std::vector<std::string> names;
    for (size_t bundle = 0; bundle < BUNDLES; ++bundle) {
        if (bundle != MISSING_BUNDLE) {
            names.push_back(BundleName(bundle));
        }
    }
    return names;
}

std::string Digest(const fs::path& database) {
    constexpr uint64_t FNV_OFFSET = 14695981039346656037U;
    constexpr uint64_t FNV_PRIME = 1099511628211U;
    RawDatabase raw(database);
    uint64_t hash = FNV_OFFSET;
    size_t rows = 0;
    for (const char* sql :
         {"SELECT * FROM temp_scene_table ORDER BY rowid",
          "SELECT *, printf('%!.20g', decay_launched_count) FROM top_scene_table ORDER BY top_scene_id",
          "SELECT train_history_id, train_times FROM train_history_table"}) {
        raw.ForEachRow(sql, [&](sqlite3_stmt* row) {
            for (int column = 0; column < sqlite3_column_count(row); ++column) {
                for (const char byte : RawDatabase::Text(row, column) + "|") {
                    hash = (hash ^ static_cast<unsigned char>(byte)) * FNV_PRIME;
                }
            }
            ++rows;
        });
    }
    return std::to_string(rows) + ":" + std::to_string(hash);
}

Host::DeviceModel Device() {
    Host::DeviceModel model;
    model.startTimeS = START_S;
    model.romGB = ROM_GB;
    for (const std::string& name : InstalledBundles()) {
        model.state.bundles[name] = {};
    }
    model.state.config["topScene"].itemList = {
        {{{"romsize", std::to_string(ROM_GB)}}, {{"topN", std::to_string(TOP_N), {}}}}};
    return model;
}

void Tell(const Cost& cost) {
    std::printf("%.6f %.6f %.0f\n", cost.wallMs, cost.cpuMs, cost.peakBytes);
}

// Runs what is due. The longest task is the one that is measured. The others are the main queue's, which only pass on:
// should they take more than a tenth of it, they are no longer that.
Cost LongestTask(Host::VirtualRuntime& runtime) {
    Cost longest;
    double allMs = 0;
    const auto resident = static_cast<double>(ResetResidentPeak());
    Times begin = TimesNow();
    runtime.RunUntil(runtime.ElapsedUs(), [&] {
        const Times end = TimesNow();
        allMs += end.cpuMs - begin.cpuMs;
        if (end.wallMs - begin.wallMs > longest.wallMs) {
            longest.wallMs = end.wallMs - begin.wallMs;
            longest.cpuMs = end.cpuMs - begin.cpuMs;
        }
        begin = TimesNow();
        return true;
    });
    constexpr double LARGEST_REST = 0.1;
    if (allMs > longest.cpuMs * (1 + LARGEST_REST)) {
        throw std::runtime_error("the work is no longer that of one task");
    }
    longest.peakBytes = static_cast<double>(ResidentPeak()) - resident;
    if (resident < 0 || longest.peakBytes < 0) {
        throw std::runtime_error("the kernel does not tell the peak of the memory");
    }
    return longest;
}

void RunPlugin(const std::string& pluginPath) {
    std::string error;
    Host::VirtualRuntime runtime(START_S);
    Host::TaskRuntime::Install(runtime);
    const auto device = Host::VirtualDevice::Start(Device(), error);
    const auto plugin = device == nullptr ? nullptr : Host::PluginLibrary::Open(pluginPath, error);
    if (plugin == nullptr || !plugin->Init()) {
        throw std::runtime_error("the plugin does not start: " + error);
    }
    Tell(LongestTask(runtime));
    plugin->Dispatch(
        std::make_shared<ResourceSchedule::ResData>(ResourceSchedule::ResData{0, 0, nlohmann::json::object()}));
    Tell(LongestTask(runtime));
    plugin->Disable();
}

void RunProcess(const std::vector<std::string>& command) {
    const pid_t child = fork();
    if (child == 0) {
        std::vector<char*> args;
        for (const std::string& word : command) {
            args.push_back(const_cast<char*>(word.c_str()));
        }
        args.push_back(nullptr);
        execv(args[0], args.data());
        _exit(EXIT_FAILURE);
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child || status != 0) {
        throw std::runtime_error(command.front() + " failed");
    }
}

void RunPlainProgram(const fs::path& program) {
    const fs::path installed = FOLDER / "installed";
    {
        std::ofstream names(installed);
        for (const std::string& name : InstalledBundles()) {
            names << name << '\n';
        }
    }
    RunProcess({program, DATABASE, installed, std::to_string(TOP_N), std::to_string(START_S)});
}

// Lets a contender work on the database in a sandbox, in a process of its own.
Outcome Run(const Template& database, const std::function<void()>& contender) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe");
    }
    const pid_t child = fork();
    if (child == 0) {
        try {
            dup2(ends[1], STDOUT_FILENO);
            if (const auto refusal = Host::EnterSandbox({static_cast<uint64_t>(ROM_GB) << 30, ""})) {
                throw std::runtime_error(*refusal);
            }
            database.CopyTo(DATABASE);
            contender();
            std::puts(Digest(DATABASE).c_str());
            std::fflush(stdout);
            _exit(EXIT_SUCCESS);
        } catch (const std::exception& failure) {
            std::fprintf(stderr, "bench_training: %s\n", failure.what());
            _exit(EXIT_FAILURE);
        }
    }
    close(ends[1]);
    std::string text;
    std::array<char, 4096> buffer;
    for (ssize_t got = read(ends[0], buffer.data(), buffer.size()); got > 0;
         got = read(ends[0], buffer.data(), buffer.size())) {
        text.append(buffer.data(), static_cast<size_t>(got));
    }
    close(ends[0]);
    int status = 0;
    Outcome outcome;
    std::istringstream words(text);
    for (Cost* cost : {&outcome.load, &outcome.training}) {
        words >> cost->wallMs >> cost->cpuMs >> cost->peakBytes;
    }
    if (waitpid(child, &status, 0) != child || status != 0 || !(words >> outcome.rows)) {
        throw std::runtime_error("a contender failed");
    }
    return outcome;
}

// The rounds of both contenders with one piece of work.
struct Rounds {
    void Add(const Cost& plugin, const Cost& plain) {
        pluginMs.push_back(plugin.wallMs);
        plainMs.push_back(plain.wallMs);
        pluginCpuMs.push_back(plugin.cpuMs);
        plainCpuMs.push_back(plain.cpuMs);
        pluginBytes.push_back(plugin.peakBytes);
        plainBytes.push_back(plain.peakBytes);
    }
    std::vector<double> pluginMs, plainMs, pluginCpuMs, plainCpuMs, pluginBytes, plainBytes;
};

// The times are the processor's: nothing is waited for, and others who use the machine prolong them less.
class Report {
public:
    void Add(const std::string& work, size_t scenes, const Rounds& rounds) {
        const auto count = static_cast<double>(scenes);
        const auto perRow = [count](const std::vector<double>& values) { return SpreadOf(values).median / count; };
        const double usPerRow = perRow(rounds.pluginCpuMs) * 1000;
        const double plainUsPerRow = perRow(rounds.plainCpuMs) * 1000;
        time_.Add({work, Grouped(static_cast<long long>(scenes)), Text(SpreadOf(rounds.pluginCpuMs).median, 1),
                   Text(SpreadOf(rounds.plainCpuMs).median, 1), Text(RatioOf(rounds.pluginCpuMs, rounds.plainCpuMs), 2),
                   Text(RatioOf(rounds.pluginMs, rounds.plainMs), 2), Text(usPerRow, 2), Text(plainUsPerRow, 2)});
        constexpr double KIB = 1024;
        memory_.Add({work, Grouped(static_cast<long long>(scenes)),
                     Grouped(std::llround(SpreadOf(rounds.pluginBytes).median / KIB)),
                     Grouped(std::llround(SpreadOf(rounds.plainBytes).median / KIB)),
                     Text(RatioOf(rounds.pluginBytes, rounds.plainBytes), 2), Text(perRow(rounds.pluginBytes), 0),
                     Text(perRow(rounds.plainBytes), 0)});
    }
    void Print() const {
        time_.Print();
        std::puts("");
        memory_.Print();
    }

private:
    Table time_{{"work", "scenes", "plugin ms", "plain C ms", "ratio", "ratio on the clock", "plugin us a row",
                 "plain C us a row"}};
    Table memory_{{"work", "scenes", "plugin peak KiB", "plain C peak KiB", "ratio", "plugin bytes a row",
                   "plain C bytes a row"}};
};

void Measure(const std::vector<size_t>& sizes, size_t rounds, const std::string& pluginPath, const fs::path& program) {
    Report report;
    std::vector<std::pair<size_t, std::array<Rounds, 2>>> measured;
    for (const size_t scenes : sizes) {
        const Template database(scenes);
        Rounds load;
        Rounds training;
        // A short work is disturbed the more easily.
        const size_t factor = scenes <= 3000 ? 5 : scenes <= 30000 ? 2 : 1;
        for (size_t round = 0; round < rounds * factor; ++round) {
            const Outcome plugin = Run(database, [&] { RunPlugin(pluginPath); });
            const Outcome plain = Run(database, [&] { RunPlainProgram(program); });
            if (plugin.rows != plain.rows) {
                throw std::runtime_error("the contenders do not leave the same rows: " + plugin.rows + " and " +
                                         plain.rows);
            }
            load.Add(plugin.load, plain.load);
            training.Add(plugin.training, plain.training);
        }
        measured.emplace_back(scenes, std::array<Rounds, 2>{std::move(training), std::move(load)});
    }
    for (const auto& [work, index] : {std::pair("training", 0U), std::pair("load at the start", 1U)}) {
        for (const auto& [scenes, both] : measured) {
            report.Add(work, scenes, both[index]);
        }
    }
    report.Print();
}

}  // namespace
}  // namespace ZYRA::Bench

int main(int argc, char** argv) {
    size_t rounds = 3;
    std::vector<size_t> sizes = {3000, 30000, 300000};
    std::string pluginFile = ZYRA::Host::PluginLibrary::DefaultPath();
    CLI::App app("A training beside one in plain C.");
    app.add_option("--rounds", rounds, "Of the largest size; the smaller ones have more")->check(CLI::Range(1, 100));
    app.add_option("--scenes", sizes)->check(CLI::Range(1000, 10000000));
    app.add_option("--plugin", pluginFile);
    CLI11_PARSE(app, argc, argv);
    ZYRA::logThreshold = static_cast<int32_t>(ZYRA::LogLevel::FATAL);
    try {
        std::string pluginPath;
        if (!ZYRA::PathToRealPath(pluginFile, pluginPath)) {
            throw std::runtime_error("there is no " + pluginFile);
        }
        const auto program = std::filesystem::read_symlink("/proc/self/exe").parent_path() / "plain_training";
        ZYRA::Bench::Measure(sizes, rounds, pluginPath, program);
        return EXIT_SUCCESS;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "bench_training: %s\n", failure.what());
        return EXIT_FAILURE;
    }
}
