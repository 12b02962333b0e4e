// SPDX-License-Identifier: Apache-2.0
// Whole launches of small programs through the shipped host. They drop the machine's caches, turn off its read-ahead
// and make control groups meanwhile.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>

#include <algorithm>
#include <csignal>
#include <functional>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <sstream>
#include <thread>
#include <tuple>

#include "host/machine/block_devices.h"
#include "host/pages/page_events.h"
#include "host/pages/page_set.h"
#include "host/pages/tracepoint.h"
#include "tests/shipped/host_runner.h"

namespace ZYRA::Host {
namespace {

namespace fs = std::filesystem;

std::string Read(const fs::path& path) {
    std::ifstream file(path);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

// The control groups of this host, or of all, in whatever hierarchy.
std::vector<fs::path> Groups(const std::string& host = "") {
    std::vector<fs::path> groups;
    std::error_code error;
    auto entry = fs::recursive_directory_iterator("/sys/fs/cgroup", error);
    for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
        entry.depth() == 1 ? entry.disable_recursion_pending() : void();
        if (entry->path().filename().string().starts_with("iosched-" + host)) {
            groups.push_back(entry->path());
        }
    }
    return groups;
}

// The disks' read-ahead in KiB, by its file.
using ReadAheads = std::map<std::string, int>;
ReadAheads LookAtReadAheads() {
    ReadAheads readAheads;
    for (const std::string& file : MountedReadAheadFiles()) {
        readAheads[file] = std::stoi(Read(file));
    }
    return readAheads;
}

bool IsAnyAbove(const ReadAheads& own, int kib) {
    return std::any_of(own.begin(), own.end(), [kib](const auto& disk) { return disk.second > kib; });
}

bool IsAnyTurnedDownTo(int kib, const ReadAheads& own) {
    return std::any_of(own.begin(), own.end(), [kib](const auto& disk) {
        return disk.second > kib && Read(disk.first) == std::to_string(kib) + "\n";
    });
}

// What launches change of the machine, a line each.
using MachineState = std::set<std::string>;
MachineState Look() {
    MachineState state;
    for (const auto& disk : fs::directory_iterator("/sys/class/bdi")) {
        // Those without a disk come and go with what others mount.
        const std::string number = disk.path().filename();
        if (!number.starts_with("0:")) {
            state.insert(number + " " + Read(disk.path() / "read_ahead_kb"));
        }
    }
    for (const fs::path& group : Groups()) {
        state.insert(group);
    }
    std::istringstream mounts(Read("/proc/self/mountinfo") + Read("/sys/fs/cgroup/cgroup.subtree_control"));
    for (std::string line; std::getline(mounts, line);) {
        state.insert(line);
    }
    return state;
}

// The lines that are not in both.
std::string Difference(const MachineState& one, const MachineState& other) {
    MachineState lines;
    std::set_symmetric_difference(one.begin(), one.end(), other.begin(), other.end(),
                                  std::inserter(lines, lines.end()));
    std::string text;
    std::for_each(lines.begin(), lines.end(), [&text](const std::string& line) { text += line + "\n"; });
    return text;
}

class LaunchedTest : public HostRunnerTest {
protected:
    LaunchedTest() {
        std::ofstream(file_) << std::string(64 * BYTES_PER_PAGE - 6, 'x') << "\nlast\n";
        EXPECT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
    }
    void SetUp() override {
        if (geteuid() != 0 || !PageEventSupport(FindTracefs()).HasDemands()) {
            GTEST_SKIP() << "needs root and the tracepoints of the page cache";
        }
    }
    ~LaunchedTest() override {
        fs::remove(file_);
        fs::remove_all(folderOnDisk_);
    }

    // On the disk, 64 pages, with a short last line.
    const std::string file_ = "/var/tmp/launched-" + std::to_string(getpid());
    const fs::path folderOnDisk_ = file_ + ".d";
};

// The program's child reads the last two pages of a file: (a) the table's numbers are all there, the program was
// preread, had the user's limit of open files, and its output is the user's once; (b) the record tells the pages and
// holds; (c) the readers were limited meanwhile.
TEST_F(LaunchedTest, AProgramIsRecordedPrereadAndLeftAsItIs) {
    const std::string data = folder_ / "data", json = folder_ / "result.json", journal = folder_ / "journal.jsonl";
    fs::create_directory(data);
    const MachineState before = Look();
    const Outcome launched = RunHost("launch -n 2 --background 1 --data " + data + " --json " + json + " --journal " +
                                         journal + " -- sh -c 'tail -n 1 " + file_ + "; ulimit -n >&2; exit 3'",
                                     "ulimit -Sn 321; ");
    EXPECT_EQ(launched.exitStatus, 0) << launched.output;
    EXPECT_EQ(launched.output.find("last\n321\n"), 0U) << launched.output;
    EXPECT_EQ(launched.output.find("last\n", 1), std::string::npos) << launched.output;
    EXPECT_EQ(Difference(before, Look()), "");
    const auto result = nlohmann::json::parse(Read(json), nullptr, false);
    ASSERT_TRUE(result.is_object()) << Read(json);
    for (const auto& [kind, count] :
         {std::pair("cold", 2), std::pair("recording", 1), std::pair("preread", 2), std::pair("warm", 2),
          std::pair("busyCold", 2), std::pair("busyPreread", 2), std::pair("busyPrereadLimited", 2)}) {
        ASSERT_TRUE(result["starts"].contains(kind)) << kind << result["starts"];
        EXPECT_EQ(result["starts"][kind]["samples"].size(), static_cast<size_t>(count)) << kind;
    }
    EXPECT_EQ(result["status"]["exit"], 3);
    EXPECT_EQ(result["isOutputSame"], true);
    EXPECT_EQ(result["preread"], nlohmann::json({{"succ", 6}, {"fail", 0}}));
    EXPECT_LE(result["record"]["missedPages"].get<int>() * 20, result["record"]["pages"].get<int>());

    const std::string listed = RunHost("records " + data).output;
    EXPECT_TRUE(std::regex_search(listed, std::regex("com.example.sh/com.example.sh .* s ago +uptodate"))) << listed;
    const std::string told = RunHost("records " + data + " com.example.sh/com.example.sh").output;
    EXPECT_NE(told.find("  " + file_ + "  2 pages, unchanged\n    62-63\n"), std::string::npos) << told;
    EXPECT_NE(told.find("bin/tail  "), std::string::npos) << told;

    const std::string happened = Read(journal);
    const size_t limited = happened.find("iocontrol/cgroup.procs");
    const size_t isOn = happened.find("iocontrol/iolimit.offon\",\"content\":\"1\"", limited);
    EXPECT_NE(happened.find("iocontrol/iolimit.offon\",\"content\":\"0\"", isOn), std::string::npos)
        << limited << " " << isOn;

    // A record is made before a start that is to be preread, and only where none is up to date: a file that each start
    // writes keeps out of it. What the program writes to its output keeps out of JSON.
    const std::pair<const char*, size_t> rows[] = {{"", 0}, {"; touch ", 1}};
    for (const auto& [change, recordings] : rows) {
        const std::string files = " >" + json + " 2>" + journal;
        RunHost("launch -n 2 --data " + data + " --json - -- sh -c 'tail -n 1 " + file_ + change +
                (recordings == 0 ? "" : file_) + "'" + files + "; true");
        const auto later = nlohmann::json::parse(Read(json), nullptr, false);
        ASSERT_TRUE(later.is_object() && Read(journal).starts_with("last\n")) << Read(json) << Read(journal);
        EXPECT_EQ(later["starts"].contains("recording") ? later["starts"]["recording"]["samples"].size() : 0,
                  recordings);
        EXPECT_EQ(later["starts"]["preread"]["samples"].size(), 2U) << later["notes"];
    }
}

// A copy with another number takes the place of a library: the record is older, what it holds of the other files is
// still preread, and the start is recorded anew.
TEST_F(LaunchedTest, ARecordFollowsALibraryThatIsReplaced) {
    const std::string data = folder_ / "data", json = folder_ / "result.json", journal = folder_ / "journal.jsonl";
    const fs::path library = folderOnDisk_ / "libc.so.6";
    fs::create_directory(data);
    fs::create_directory(folderOnDisk_);
    Dl_info libc = {};
    ASSERT_NE(dladdr(dlsym(RTLD_DEFAULT, "gnu_get_libc_version"), &libc), 0);
    for (const auto& [recorded, prereads] : {std::pair("absent", 1), std::pair("older", 2)}) {
        fs::copy_file(libc.dli_fname, folderOnDisk_ / "copy");
        fs::rename(folderOnDisk_ / "copy", library);
        const std::string listed = RunHost("records " + data).output;
        EXPECT_EQ(listed.find(" older") != std::string::npos, recorded == std::string("older")) << listed;
        const Outcome launched = RunHost("launch -n 1 --data " + data + " --json " + json + " --journal " + journal +
                                         " -- env LD_LIBRARY_PATH=" + folderOnDisk_.string() + " tail -n 1 " + file_);
        EXPECT_EQ(launched.output.find("last\n"), 0U) << launched.output;
        const auto result = nlohmann::json::parse(Read(json), nullptr, false);
        ASSERT_TRUE(result.is_object()) << launched.output;
        EXPECT_EQ(result["starts"]["recording"]["samples"].size(), 1U);
        EXPECT_EQ(result["isOutputSame"], true);
        EXPECT_EQ(result["preread"], nlohmann::json({{"succ", prereads}, {"fail", 0}}));
        const std::string happened = Read(journal);
        const size_t isBound = happened.find("\"recordState\":\"" + std::string(recorded));
        EXPECT_EQ(happened.find("\"kind\":\"preread\"", isBound) < happened.find("\"kind\":\"record\"", isBound),
                  prereads == 2);
        const std::string told = RunHost("records " + data + " com.example.env/com.example.env").output;
        EXPECT_TRUE(told.find(library.string() + "  ") != std::string::npos &&
                    told.find("uptodate") != std::string::npos)
            << told;
    }
}

// The program tells the disks' read-ahead: in each start the same where no setting is changed. (a) The result is
// written over a file that was longer; (b) what is not limited stays where it is; (c) the process comes later than the
// touch by the head start, of which the touch itself may take a part to get through.
TEST_F(LaunchedTest, OptionsHold) {
    const ReadAheads own = LookAtReadAheads();
    std::string program = " -- cat";
    std::for_each(own.begin(), own.end(), [&program](const auto& disk) { program += " " + disk.first; });
    const std::set<std::string> usual = {"cold", "preread", "recording", "warm"};
    const std::set<std::string> busy = {"busyCold", "busyPreread", "cold", "preread", "recording", "warm"};
    const std::string journal = folder_ / "journal.jsonl";
    for (const auto& [options, kinds, isSame, headStartUs] :
         {std::tuple("--head-start 1000", usual, !IsAnyAbove(own, 0), 1000000),
          std::tuple("--no-limit --background 1", busy, !IsAnyAbove(own, 0), 0),
          std::tuple("--record passive", usual, true, 0)}) {
        const std::string json = Write("result.json", std::string(1 << 16, 'x'));
        const std::string files = " --json " + json + " --journal " + journal;
        const Outcome launched = RunHost(std::string("launch -n 1 ") + options + files + program);
        const auto result = nlohmann::json::parse(Read(json), nullptr, false);
        ASSERT_TRUE(launched.exitStatus == 0 && result.is_object()) << launched.output;
        std::set<std::string> made;
        for (const auto& kind : result["starts"].items()) {
            made.insert(kind.key());
        }
        EXPECT_EQ(made, kinds) << options;
        EXPECT_EQ(result["isOutputSame"], isSame) << options;
        EXPECT_EQ(result["options"]["headStartUs"], headStartUs);
        EXPECT_EQ(Read(journal).find("iocontrol/cgroup.procs\",\"content"), std::string::npos) << options;
        std::istringstream entries(Read(journal));
        int64_t touchedUs = 0;
        for (std::string line; std::getline(entries, line);) {
            const auto entry = nlohmann::json::parse(line);
            if (entry["kind"] == "bind" && entry["pid"] == 0) {
                touchedUs = entry["t"];
            } else if (entry["kind"] == "bind") {
                EXPECT_GE(entry["t"].get<int64_t>() - touchedUs, headStartUs / 2) << options << line;
            }
        }
        EXPECT_GT(touchedUs, 0);
    }
}

// Wherever the host is killed, its guardian, for whose end the test waits, has undone everything. Mounts are shared
// with the test, though not with the machine, unless the host keeps them to itself.
TEST_F(LaunchedTest, AKilledHostLeavesTheMachineAsItWas) {
    ASSERT_EQ(unshare(CLONE_NEWNS), 0);
    for (const unsigned long propagation : {MS_PRIVATE, MS_SHARED}) {
        ASSERT_EQ(mount(nullptr, "/", nullptr, MS_REC | propagation, nullptr), 0);
    }
    const MachineState before = Look();
    const ReadAheads own = LookAtReadAheads();
    bool wasOff = false;
    std::string number;
    const auto isLimited = [&number] {
        std::string limits;
        for (const fs::path& group : Groups(number)) {
            limits += Read(group / "iocontrol/blkio.throttle.read_bps_device") + Read(group / "iocontrol/io.max");
        }
        return limits.find("3145728") != std::string::npos;
    };
    const auto isOff = [&own] { return IsAnyTurnedDownTo(0, own); };
    struct Stage {
        const char* readers;
        bool isPossible;
        std::function<bool()> isReached;
    };
    const Stage stages[] = {
        {"0", true, [&] { return !Groups(number).empty(); }},
        {"0", IsAnyAbove(own, 0), isOff},
        {"0", IsAnyAbove(own, 0), [&] { return std::exchange(wasOff, wasOff || isOff()) && !isOff(); }},
        {"0", IsAnyAbove(own, 128), [&] { return IsAnyTurnedDownTo(128, own); }},
        {"1", true, isLimited},
    };
    for (size_t stage = 0; stage < std::size(stages); ++stage) {
        const auto& [readers, isPossible, isReached] = stages[stage];
        if (!isPossible) {
            continue;
        }
        const pid_t host = fork();
        if (host == 0) {
            execl(HOST_BINARY, HOST_BINARY, "launch", "-n", "1", "--background", readers, "--", "tail", "-n", "1",
                  file_.c_str(), nullptr);
            _exit(127);
        }
        number = std::to_string(host);
        siginfo_t ended = {};
        while (!isReached() && ended.si_pid == 0) {
            EXPECT_EQ(waitid(P_PID, static_cast<id_t>(host), &ended, WEXITED | WNOHANG | WNOWAIT), 0);
        }
        EXPECT_EQ(ended.si_pid, 0) << "not reached: " << stage;
        EXPECT_NE(Difference(before, Look()), "") << stage;
        kill(host, SIGKILL);
        while (wait(nullptr) > 0) {
        }
        EXPECT_EQ(Difference(before, Look()), "") << stage;
    }
}

// What a terminal shows of the text, without blanks at the ends of lines.
std::string Shown(const std::string& text) {
    std::string shown;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        std::string cells;
        size_t column = 0;
        for (const char sign : line) {
            if (sign == '\r' || sign == '\b') {
                column = sign == '\r' ? 0 : column - 1;
            } else {
                cells.resize(std::max(cells.size(), column + 1), ' ');
                cells[column++] = sign;
            }
        }
        shown += cells.substr(0, cells.find_last_not_of(' ') + 1) + '\n';
    }
    return shown;
}

TEST_F(LaunchedTest, OnATerminalTheProgressLeavesTheProgramsOutputAlone) {
    int terminal = -1;
    if (forkpty(&terminal, nullptr, nullptr, nullptr) == 0) {
        execl(HOST_BINARY, HOST_BINARY, "launch", "-n", "1", "--", "printf", "last", nullptr);
        _exit(127);
    }
    std::string text;
    char chunk[4096];
    for (ssize_t length = 0; (length = read(terminal, chunk, sizeof(chunk))) > 0;) {
        text.append(chunk, static_cast<size_t>(length));
    }
    close(terminal);
    wait(nullptr);
    EXPECT_NE(text.find("printf: cold with preread"), std::string::npos) << text;
    EXPECT_EQ(Shown(text).find("last\nprintf last\n"), 0U) << text;
}

// The program is gone after two starts; the one that is to be recorded fails.
TEST_F(LaunchedTest, AFailedRunSaysWhyAndLeavesNoResult) {
    const std::string said = folder_ / "said", result = folder_ / "result", data = folder_ / "data";
    EXPECT_EQ(RunHost("launch --json /nowhere/x -- echo").output, "/nowhere/x: No such file or directory\n");
    EXPECT_EQ(RunHost("launch -n 1 -- echo x >/dev/full 2>" + said + "; exit $?").exitStatus, 1);
    EXPECT_EQ(Read(said), "iosched-host launch: cannot write what the program wrote: No space left on device\n");

    const fs::path record = fs::path(data) / "service/el1/public/ressched/workingset/com.example.gone/com.example.gone";
    fs::create_directories(record.parent_path());
    std::ofstream(record) << "damaged";
    for (const char* program : {"gone", "gone.again"}) {
        Write(program, "#!/bin/sh\nmv $0.again $0 2>/dev/null || rm $0\n");
        fs::permissions(folder_ / program, fs::perms::owner_all);
    }
    const Outcome failed =
        RunHost("launch -n 1 --data " + data + " --json " + result + " -- " + (folder_ / "gone").string());
    EXPECT_EQ(failed.exitStatus, 1);
    EXPECT_TRUE(std::regex_match(failed.output, std::regex("iosched-host launch: cannot execute [^\n]*\n"
                                                           "iosched-host launch: note: record of com.example.gone/"
                                                           "com.example.gone counts as absent: [^\n]*\n")))
        << failed.output;
    EXPECT_FALSE(fs::exists(result));
}

TEST_F(LaunchedTest, WithoutRootItSaysSoInALine) {
    // It may still read its own libraries, wherever they are.
    const Outcome outcome =
        RunHost("launch -- true", "setpriv --reuid 65534 --inh-caps +dac_read_search --ambient-caps +dac_read_search ");
    EXPECT_EQ(outcome.exitStatus, 3);
    EXPECT_TRUE(std::regex_match(outcome.output, std::regex("iosched-host launch: needs root, [^\n]*\n")))
        << outcome.output;
}

}  // namespace
}  // namespace ZYRA::Host
