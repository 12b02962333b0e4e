// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <fcntl.h>
#include <pty.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

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
        std::error_code gone;
        for (const auto& thread : std::filesystem::directory_iterator(Folder(), gone)) {
            std::string comm;
            std::getline(std::ifstream(thread.path() / "comm") >> std::ws, comm);
            if (comm == name) {
                return true;
            }
        }
        return false;
    }
    // Waits for a child other than that one; 0 when the host ends without.
    pid_t AwaitChildAfter(pid_t other) const {
        siginfo_t ended = {};
        while (waitid(P_PID, static_cast<id_t>(pid_), &ended, WEXITED | WNOHANG | WNOWAIT) == 0 && ended.si_pid == 0) {
            pid_t child = 0;
            if (std::ifstream(Folder() / std::to_string(pid_) / "children") >> child && child != other) {
                return child;
            }
        }
        return 0;
    }
    pid_t Pid() const { return pid_; }

private:
    std::filesystem::path Folder() const { return "/proc/" + std::to_string(pid_) + "/task"; }

    int terminal_ = -1;
    pid_t pid_ = -1;
};

}  // namespace ZYRA::Host
