// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <fcntl.h>
#include <pty.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace ZYRA::Host {

// The shipped host while it runs. What it leaves behind when it ends becomes a child of the test.
class RunningHost {
public:
    // Both streams go to the file, or, without one, to a terminal.
    explicit RunningHost(std::vector<std::string> arguments, const std::string& output = "") {
        prctl(PR_SET_CHILD_SUBREAPER, 1);
        arguments.insert(arguments.begin(), HOST_BINARY);
        pid_ = output.empty() ? forkpty(&terminal_, nullptr, nullptr, nullptr) : fork();
        if (pid_ == 0) {
            for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
                signal(number, SIG_DFL);
            }
            if (!output.empty()) {
                const int file = open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
                dup2(file, STDOUT_FILENO), dup2(file, STDERR_FILENO);
            }
            std::vector<char*> words;
            for (std::string& argument : arguments) {
                words.push_back(argument.data());
            }
            words.push_back(nullptr);
            execv(HOST_BINARY, words.data());
            _exit(127);
        }
    }
    ~RunningHost() {
        close(terminal_);
        kill(pid_, SIGKILL);
        while (wait(nullptr) > 0) {
        }
    }
    RunningHost(const RunningHost&) = delete;
    RunningHost& operator=(const RunningHost&) = delete;

    // The status of waitpid(2), when it has ended.
    int Wait() const {
        int status = -1;
        waitpid(pid_, &status, 0);
        return status;
    }
    bool HasEnded() const {
        siginfo_t ended = {};
        return waitid(P_PID, static_cast<id_t>(pid_), &ended, WEXITED | WNOHANG | WNOWAIT) != 0 || ended.si_pid != 0;
    }
    // All that it shows on the terminal until it ends.
    std::string ReadTerminal() const {
        std::string text;
        char chunk[4096];
        for (ssize_t length = 0; (length = read(terminal_, chunk, sizeof(chunk))) > 0;) {
            text.append(chunk, static_cast<size_t>(length));
        }
        return text;
    }
    // Returns when the process has taken the signal out.
    void SendAndAwait(int number) const {
        kill(pid_, number);
        while (IsPending(pid_, number)) {
            std::this_thread::yield();
        }
    }
    // False as well when there is no such process.
    static bool IsPending(pid_t process, int number) {
        std::ifstream file("/proc/" + std::to_string(process) + "/status");
        for (std::string word; file >> word;) {
            if (unsigned long long signals = 0; word == "ShdPnd:" && file >> std::hex >> signals) {
                return (signals >> (number - 1) & 1) != 0;
            }
        }
        return false;
    }
    bool HasThread(const std::string& name) const {
        const auto threads = OfThreads(pid_, "comm");
        return std::find(threads.begin(), threads.end(), name) != threads.end();
    }
    // Waits for a child other than that one to have begun its replay, and stops it as SIGSTOP does. A process that no
    // child can have when the host ends without.
    pid_t StopChildAfter(pid_t other) const {
        while (!HasEnded()) {
            pid_t child = 0;
            std::ifstream(Folder(pid_) / std::to_string(pid_) / "children") >> child;
            // A replay has threads, the first of them for signals.
            if (child != 0 && child != other && OfThreads(child, "comm").size() > 1) {
                kill(child, SIGSTOP);
                while (!IsStopped(child)) {
                    std::this_thread::yield();
                }
                return child;
            }
        }
        ADD_FAILURE() << "no child to stop";
        return NO_PROCESS;
    }
    pid_t Pid() const { return pid_; }

private:
    static constexpr pid_t NO_PROCESS = 1 << 30;

    static std::filesystem::path Folder(pid_t process) { return "/proc/" + std::to_string(process) + "/task"; }
    // The first line of that file of each thread.
    static std::vector<std::string> OfThreads(pid_t process, const char* name) {
        std::vector<std::string> lines;
        std::error_code gone;
        for (auto thread = std::filesystem::directory_iterator(Folder(process), gone);
             !gone && thread != std::filesystem::directory_iterator(); thread.increment(gone)) {
            std::ifstream file(thread->path() / name);
            std::getline(file, lines.emplace_back());
        }
        return lines;
    }
    // Or at its end.
    static bool IsStopped(pid_t process) {
        const auto stats = OfThreads(process, "stat");
        return std::all_of(stats.begin(), stats.end(), [](const std::string& stat) {
            return stat.empty() || stat.find(") T ") != std::string::npos || stat.find(") Z ") != std::string::npos;
        });
    }

    int terminal_ = -1;
    pid_t pid_ = -1;
};

}  // namespace ZYRA::Host
