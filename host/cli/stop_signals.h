// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <signal.h>

#include <initializer_list>
#include <optional>
#include <stop_token>
#include <thread>

#include "host/runtime/unique_fd.h"

namespace ZYRA::Host {

// Signals that wait to be read instead of interrupting a system call: they are blocked for as long as this object
// lives, in this thread and in the threads and processes that it starts meanwhile. Those that were ignored before stay
// so.
class SignalInbox {
public:
    // Throws std::system_error where the system has no file to give.
    explicit SignalInbox(std::initializer_list<int> numbers);
    ~SignalInbox();
    SignalInbox(const SignalInbox&) = delete;
    SignalInbox& operator=(const SignalInbox&) = delete;

    // Can be polled for reading. A forked process reads its own signals from it.
    int Fd() const { return file_.Get(); }

    // The number of one that has come, nothing when there is none.
    std::optional<int> Take();

    // Ends the process as the signal does where nobody reads it.
    static void DieOf(int number);

private:
    sigset_t before_;
    UniqueFd file_;
};

// What a terminal or a service manager sends to have the program end.
constexpr std::initializer_list<int> STOP_SIGNALS = {SIGINT, SIGTERM, SIGHUP};

// Makes a stop request of the first signal that comes; the second one ends the process.
class StopOnSignal {
public:
    // `inbox` must outlive the object, and nobody else reads it meanwhile. Throws std::system_error.
    explicit StopOnSignal(SignalInbox& inbox);
    ~StopOnSignal();
    StopOnSignal(const StopOnSignal&) = delete;
    StopOnSignal& operator=(const StopOnSignal&) = delete;

    std::stop_token Token() const { return stop_.get_token(); }

private:
    void Watch();

    SignalInbox& inbox_;
    std::stop_source stop_;
    UniqueFd end_;  // Can be read when the watching is over.
    std::thread thread_;
};

}  // namespace ZYRA::Host
