// SPDX-License-Identifier: Apache-2.0
// Replays that do not come to their end, and what is told of long ones meanwhile.

#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include <chrono>
#include <nlohmann/json.hpp>

#include "tests/shipped/host_runner.h"
#include "tests/shipped/running_host.h"

namespace ZYRA::Host {
namespace {

using nlohmann::json;

class InterruptTest : public HostRunnerTest {
protected:
    static std::string Read(const std::string& path) {
        std::ifstream file(path);
        return std::string(std::istreambuf_iterator<char>(file), {});
    }
    std::string Path(const char* name) const { return folder_ / name; }
    std::string Generate(const char* days, const char* name) const {
        EXPECT_EQ(
            RunHost(std::string("generate --apps 20 --seed 1 --days ") + days + " --output " + Path(name)).exitStatus,
            0);
        return Path(name);
    }

    // Ten minutes in real time.
    const std::string slow_ = Write("slow.jsonl", "{\"t\":0,\"dump\":[]}\n{\"t\":600000,\"dump\":[]}\n");
};

// Whatever the signal, and whatever the time is that runs: (a) the plugin is disabled and unloaded, (b) all that was
// asked for is written, (c) nothing is left behind.
TEST_F(InterruptTest, AnInterruptedReplayTellsWhatThereIs) {
    const std::string mounts = Read("/proc/self/mountinfo");
    const std::string said = Path("said"), journal = Path("journal"), summary = Path("summary");
    const std::string year = Generate("120", "year.jsonl");
    const struct {
        int number;
        std::vector<std::string> arguments;
        bool isReal;
    } rows[] = {{SIGINT, {slow_, "--real-time"}, true},
                {SIGTERM, {slow_, "--settle", "600000", "--real-time"}, true},
                {SIGHUP, {year}, false}};
    for (const auto& [number, given, isReal] : rows) {
        std::filesystem::remove(journal);
        std::vector<std::string> arguments = {"replay", "--journal", journal, "--json", summary};
        arguments.insert(arguments.end(), given.begin(), given.end());
        const RunningHost host(arguments, said);
        // The queue of the plugin is there once it is enabled; a journal is written in pieces.
        struct stat status = {};
        const auto isWaitedFor = [&, &isReal = isReal] {
            return isReal ? !host.HasThread("iosched_main_th")
                          : stat(journal.c_str(), &status) != 0 || status.st_size == 0;
        };
        while (!host.HasEnded() && isWaitedFor()) {
            std::this_thread::yield();
        }
        kill(host.Pid(), number);
        const int end = host.Wait();
        EXPECT_TRUE(WIFEXITED(end) && WEXITSTATUS(end) == 130) << end << Read(said);
        EXPECT_EQ(wait(nullptr), -1);

        const json told = json::parse(Read(summary));
        const auto steps = told["counts"]["steps"].get<size_t>(), all = told["counts"]["scenarioSteps"].get<size_t>();
        EXPECT_TRUE(told["interrupted"].get<bool>() && steps < all);
        EXPECT_EQ(Read(said).find("interrupted after " + std::to_string(steps) + " of " + std::to_string(all)), 0U);
        EXPECT_NE(Read(said).find("\nCounts\n"), std::string::npos);
        std::istringstream lines(Read(journal));
        bool isDisabled = false;
        std::string line;
        while (std::getline(lines, line)) {
            const json entry = json::parse(line);
            isDisabled = isDisabled || (entry["kind"] == "plugin" && entry["state"] == "disable");
        }
        EXPECT_TRUE(isDisabled && line.empty()) << line;
        EXPECT_EQ(told["counts"]["journalEntries"].get<long>() > 0, true);
    }
    EXPECT_EQ(Read("/proc/self/mountinfo"), mounts);
}

// The journal goes to somebody who does not read it: the first signal finds the replay waiting, the second ends it.
TEST_F(InterruptTest, TheSecondSignalEndsTheProcess) {
    const std::string pipe = Path("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const int reader = open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    const int full = fcntl(reader, F_GETPIPE_SZ);
    const RunningHost host({"replay", Generate("20", "day.jsonl"), "--journal", pipe}, Path("said"));
    for (int waiting = 0; waiting < full && !host.HasEnded();) {
        ASSERT_EQ(ioctl(reader, FIONREAD, &waiting), 0);
    }
    host.SendAndAwait(SIGINT);
    EXPECT_EQ(waitpid(host.Pid(), nullptr, WNOHANG), 0);
    kill(host.Pid(), SIGTERM);
    const int end = host.Wait();
    EXPECT_TRUE(WIFSIGNALED(end) && WTERMSIG(end) == SIGTERM) << end;
    close(reader);
}

// (a) The second replay is interrupted: the first is told; (b) a process that dies is a failed run, and the other is
// told; (c) the second signal ends all of them.
TEST_F(InterruptTest, AComparisonTellsWhatItHas) {
    const std::string said = Path("said"), result = Path("result"), device = Write("d.json", "{}");
    const std::vector<std::string> arguments = {
        "compare", Generate("3", "day.jsonl"), "--device", device, "--device", device, "--json", result};
    // Returns when the stopped child has been asked to stop.
    const auto interrupt = [](const RunningHost& host, pid_t child) {
        kill(host.Pid(), SIGTERM);
        while (kill(child, 0) == 0 && !RunningHost::IsPending(child, SIGUSR1)) {
            std::this_thread::yield();
        }
    };
    {
        const RunningHost host(arguments, said);
        const pid_t first = host.StopChildAfter(0);
        kill(first, SIGCONT);
        const pid_t second = host.StopChildAfter(first);
        interrupt(host, second);
        kill(second, SIGCONT);
        const int end = host.Wait();
        EXPECT_TRUE(WIFEXITED(end) && WEXITSTATUS(end) == 130) << end << Read(said);
        const json told = json::parse(Read(result));
        EXPECT_TRUE(told["interrupted"].get<bool>() && !told["devices"][0]["summary"]["interrupted"].get<bool>());
        EXPECT_NE(Read(said).find("d.json: " + told["devices"][1]["failure"].get<std::string>()), std::string::npos);
    }
    {
        const RunningHost host(arguments, said);
        kill(host.StopChildAfter(0), SIGKILL);
        const int end = host.Wait();
        EXPECT_TRUE(WIFEXITED(end) && WEXITSTATUS(end) == 1) << end << Read(said);
        const json told = json::parse(Read(result));
        EXPECT_EQ(told["devices"][0]["failure"], "killed by signal 9 (Killed)");
        EXPECT_TRUE(told["devices"][0]["summary"].is_null() && told["devices"][1]["summary"].is_object());
    }
    const RunningHost host(arguments, said);
    const pid_t child = host.StopChildAfter(0);
    interrupt(host, child);
    kill(host.Pid(), SIGHUP);
    const int end = host.Wait();
    EXPECT_TRUE(WIFSIGNALED(end) && WTERMSIG(end) == SIGHUP) << end;
    int childsEnd = 0;
    EXPECT_EQ(waitpid(child, &childsEnd, 0), child);
    EXPECT_TRUE(WIFSIGNALED(childsEnd) && WTERMSIG(childsEnd) == SIGKILL) << childsEnd;
}

// Nothing in the first second; then on a terminal only, and the line is cleared before the result.
TEST_F(InterruptTest, LongWorkIsToldOfOnATerminal) {
    const std::string quick = Write("quick.jsonl", "{\"t\":0,\"dump\":[]}\n");
    for (const char* settle : {"0", "1500"}) {
        const std::vector<std::string> arguments = {"replay", quick, "--real-time", "--settle", settle};
        const auto begin = std::chrono::steady_clock::now();
        const std::string shown = RunningHost(arguments).ReadTerminal();
        const bool wasLong = std::chrono::steady_clock::now() - begin > std::chrono::seconds(1);
        EXPECT_LE(shown.find("replaying quick.jsonl: settling, 1.") != std::string::npos, wasLong) << shown;
        EXPECT_GE(shown.find("replaying") != std::string::npos, settle != std::string("0")) << shown;
        EXPECT_EQ(shown.find("replaying", shown.find("Scenes")), std::string::npos) << shown;
        const RunningHost unseen(arguments, Path("said"));
        unseen.Wait();
        EXPECT_EQ(Read(Path("said")).find("Scenes"), Read(Path("said")).find_first_not_of("\x1b[1m"));
    }
}

}  // namespace
}  // namespace ZYRA::Host
