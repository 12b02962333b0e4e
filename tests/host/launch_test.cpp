// SPDX-License-Identifier: Apache-2.0
// The pieces of which a measured start is made, with real processes; what is told of made-up starts.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <iterator>
#include <nlohmann/json.hpp>
#include <sstream>
#include <thread>

#include "host/launch/background_readers.h"
#include "host/launch/held_program.h"
#include "host/launch/launch_json.h"
#include "host/launch/launch_table.h"
#include "platform/file_util.h"

namespace ZYRA::Host {
namespace {

const std::function<bool()> STAY = [] { return true; };

// A shell that is held before it runs the script.
struct HeldShell {
    explicit HeldShell(const std::string& script, const std::function<bool()>& enterMachine = STAY) {
        const auto command = FindProgram({"sh", "-c", script}, error);
        program = command ? HeldProgram::Fork(enterMachine, *command, *output, error) : nullptr;
    }
    bool Go() { return program != nullptr && program->Go(error).has_value(); }

    std::string error;
    const std::unique_ptr<ProgramOutput> output = ProgramOutput::Create();
    std::unique_ptr<HeldProgram> program;
};

std::string ProcPath(pid_t pid, const char* name) {
    return "/proc/" + std::to_string(pid) + '/' + name;
}

bool IsGone(pid_t pid) {
    return kill(pid, 0) != 0 && errno == ESRCH;
}

TEST(LaunchTest, HeldProgramRunsOnceItIsLetGoAndEndsInItsOwnWay) {
    using Row = std::tuple<const char*, int, std::string, std::string>;
    // What the host ignores, the program does not.
    signal(SIGTERM, SIG_IGN);
    for (const auto& [script, status, text, errors] :
         {Row{"echo out; echo err >&2; cat; exit 3", 3 << 8, "out\n", "err\n"}, Row{"kill -KILL $$", SIGKILL, "", ""},
          Row{"kill $$; echo ignored", SIGTERM, "", ""}}) {
        HeldShell shell(script);
        ASSERT_NE(shell.program, nullptr) << shell.error;
        // (a) Held it is a copy of the host, and has not ended at a time that has come; (b) then it runs.
        EXPECT_TRUE(std::filesystem::equivalent(ProcPath(shell.program->Pid(), "exe"), "/proc/self/exe"));
        EXPECT_FALSE(shell.program->Wait(MonotonicUs()));
        const auto goneUs = shell.program->Go(shell.error);
        const auto end = shell.program->Wait(std::nullopt);
        ASSERT_TRUE(goneUs && end && *goneUs < end->atUs);
        EXPECT_EQ(end->status, status);
        EXPECT_EQ(shell.output->Text(OutputStream::OUT), text);
        EXPECT_EQ(shell.output->Text(OutputStream::ERR), errors);
        EXPECT_EQ(shell.output->SameAs(*ProgramOutput::Create()), text.empty());
    }
    signal(SIGTERM, SIG_DFL);
}

TEST(LaunchTest, WhatCannotStartIsToldInALine) {
    HeldShell shell("", [] { return errno = EPERM, false; });
    EXPECT_NE(shell.error.find("Operation not permitted; run as root"), std::string::npos) << shell.error;
    EXPECT_FALSE(FindProgram({"no such program"}, shell.error) || FindProgram({"/usr/bin"}, shell.error));
    shell.program = HeldProgram::Fork(STAY, {"/etc/passwd", {"passwd"}}, *shell.output, shell.error);
    EXPECT_FALSE(shell.Go());
    EXPECT_EQ(shell.error, "cannot execute \"/etc/passwd\": Permission denied");
}

// What has begun a session of its own, and the children of that, have left the group.
TEST(LaunchTest, DroppedProgramTakesAlongWhatItHasStarted) {
    HeldShell running("exec sleep 2000");
    HeldShell ended(
        "sleep 2000 & echo $! $(setsid sh -c 'sleep 2000 >&- & echo $$ $!; exec >&-; sleep 2000; sleep 2000' &)");
    ASSERT_TRUE(running.Go() && ended.Go() && ended.program->Wait(std::nullopt));
    ended.program.reset();
    std::istringstream numbers(ended.output->Text(OutputStream::OUT));
    const std::vector<pid_t> pids{std::istream_iterator<pid_t>(numbers), {}};
    EXPECT_TRUE(pids.size() == 3 && std::all_of(pids.begin(), pids.end(), IsGone) && !IsGone(running.program->Pid()));
    const pid_t pid = running.program->Pid();
    running.program.reset();
    EXPECT_TRUE(IsGone(pid) && Children().empty());
}

// The children inherit the end of a pipe, which ends with the last of them.
TEST(LaunchTest, HeldAndRunningProgramsDieWithTheHost) {
    int alive[2];
    ASSERT_EQ(pipe(alive), 0);
    if (fork() == 0) {
        HeldShell held("");
        HeldShell running("exec sleep 2000");
        const bool isUp = held.program != nullptr && running.Go() && write(alive[1], "x", 1) == 1;
        kill(getpid(), isUp ? SIGKILL : SIGABRT);
    }
    close(alive[1]);
    char word = 0;
    EXPECT_EQ(read(alive[0], &word, 1) + read(alive[0], &word, 1), 1);
    EXPECT_GT(wait(nullptr), 0);
}

TEST(LaunchTest, ReadersReadUntilTheyArePausedOrGone) {
    std::string text;
    EXPECT_FALSE(BackgroundReaders::Start({1, "/dev/shm", 1 << 20}, STAY, text));
    EXPECT_EQ(text, "a background reader's file in /dev/shm would be in memory; name a folder on a disk");
    auto readers = BackgroundReaders::Start({2, "/var/tmp", 1 << 20}, STAY, text);
    ASSERT_NE(readers, nullptr) << text;
    const std::vector<pid_t> pids = readers->Pids();
    // (a) More is read than both files hold, (b) they stop, (c) and go on.
    for (uint64_t before = 0; before < (16 << 20); before = readers->BytesRead()) {
        while (readers->BytesRead() < before + (8 << 20)) {
            std::this_thread::yield();
        }
        readers->Pause();
        EXPECT_TRUE(LoadStringFromFile(ProcPath(pids.at(1), "stat"), text) && text.find(") T ") != std::string::npos);
        readers->Resume();
    }
    readers.reset();
    EXPECT_TRUE(pids.size() == 2 && IsGone(pids[0]) && IsGone(pids[1]));
}

TEST(LaunchTest, TableAndJsonTellTheResult) {
    LaunchResult result;
    result.command = {"clang-tidy", "--version", "a b"};
    result.options = {3, 0, "exact", 2};
    result.starts = {{StartKind::COLD, {{330200, 191000000, 0}, {301000, 190000000, 0}, {309100, 192000000, 0}}},
                     {StartKind::RECORDING, {{512000, std::nullopt, 256}}},
                     {StartKind::PREREAD, {{80000, 41000000, 0}, {90000, 41000000, 0}}},
                     {StartKind::WARM, {{23100, 0, SIGSEGV}}}};
    // The record was far larger when it was compared.
    result.record = LaunchRecord{6, 95, 371000, 2410, 9501, 295, 38};
    result.isOutputSame = true;
    EXPECT_EQ(LaunchTable(result), R"(clang-tidy --version "a b"
  3 starts each in turn, head start 0 ms, record exact, 2 background readers
                       median    min    max  read from disk
  cold               309.1 ms  301.0  330.2        191.0 MB
  recording          512.0 ms                             -
  cold with preread   85.0 ms   80.0   90.0         41.0 MB
  warm                23.1 ms                        0.0 MB
  avoidable wait taken away   78.4 %
  record   371.0 kB, 95 pages of 6 files, 2.4 kB; never touched 3.1 %, missed 0.4 %
  program  exit status 0 when cold, exit status 1 when recording, exit status 0 when cold with preread, killed
           by SIGSEGV when warm, the same output
)");
    const auto json = nlohmann::json::parse(LaunchJson(result));
    EXPECT_EQ(json["starts"]["warm"]["samples"][0]["status"]["signal"], SIGSEGV);
    EXPECT_TRUE(json["starts"]["recording"]["bytesRead"].is_null() && json["busyGain"].is_null());
    EXPECT_TRUE(GainOf(1000, 950, 950).share == 1.0 && !GainOf(1000, 900, 951).share && !GainOf(0, 0, 0).share);
}

}  // namespace
}  // namespace ZYRA::Host
